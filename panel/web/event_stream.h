// Server-sent events on their way to one browser: a bounded buffer between whoever has news and the
// server, which sends them. A browser that does not take them is cut off and comes back anew.
#pragma once

#include <QByteArray>

#include <functional>
#include <mutex>

// `data` must not contain a line break; compact JSON does not.
QByteArray eventText(const QByteArray &event, const QByteArray &data);

class EventStream {
public:
    static constexpr int MostBytes = 4 << 20; // a first picture of a large panel fits

    // Whether the browser looks at the lines, which takes more.
    explicit EventStream(bool wantsLines) : m_wantsLines(wantsLines) {}
    bool wantsLines() const { return m_wantsLines; }

    // Any thread.
    void push(const QByteArray &events);
    void end();
    bool isEnded() const;

    // Of the server: up to `most` bytes. Nothing there: 0, and `sleep` has been called, after which
    // `wake` (of setWake) is called once when there is; -1 at the end.
    int take(char *bytes, int most, const std::function<void()> &sleep);
    void setWake(std::function<void()> wake);

private:
    void wakeUp();

    const bool m_wantsLines;
    mutable std::mutex m_mutex; // guards all below
    QByteArray m_buffer;
    int m_taken = 0; // of the buffer's beginning
    bool m_isEnded = false;
    bool m_isAsleep = false;
    std::function<void()> m_wake;
};
