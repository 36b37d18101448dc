// A file, device or pipe that a recorder's thread writes. The reader of a pipe may be slow, or
// never read: a run still ends.
#pragma once

#include <QByteArray>
#include <QString>

#include <atomic>

class OutputFile {
public:
    OutputFile() = default;
    ~OutputFile();
    OutputFile(const OutputFile &) = delete;
    OutputFile &operator=(const OutputFile &) = delete;

    // Makes the file or empties it. One line on failure.
    QString open(const QString &path);
    void useStandardOutput();

    // Returns once all is written; one line on failure.
    QString write(const QByteArray &bytes);
    // Any thread: the reader of the pipe has gone.
    bool isReaderGone() const { return m_isReaderGone; }
    // Any thread: the run ends. From now on a reader that takes nothing for a second is given up.
    void hurry() { m_isHurried = true; }

private:
    bool waitUntilWritable() const;
    QString failure(const QString &reason) const;

    QString m_name;
    int m_descriptor = -1;
    bool m_isOwn = false; // closed at the end
    bool m_isGivenUp = false;
    std::atomic<bool> m_isReaderGone{false};
    std::atomic<bool> m_isHurried{false};
};
