// The report on disk: written anew at intervals and at the end, beside and renamed, so that a
// reader never finds half of one.
#pragma once

#include <QJsonObject>
#include <QString>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

class ReportFile {
public:
    // Makes the report, on the file's own thread and on those of open() and close().
    using Make = std::function<QJsonObject()>;

    ReportFile(const QString &path, Make make) : m_path(path), m_make(std::move(make)) {}
    ~ReportFile() { close(); }
    ReportFile(const ReportFile &) = delete;
    ReportFile &operator=(const ReportFile &) = delete;

    // Writes the first report, so that a wrong path shows at once; over an earlier report, but over
    // no other file. One line on failure; nothing is written later then.
    QString open(std::chrono::milliseconds every = std::chrono::minutes(1));
    // Writes the last one and waits for it.
    void close();
    // The first failure since, one line; later reports are tried all the same.
    QString error() const;

private:
    void run(std::chrono::milliseconds every);
    QString write() const;
    void note(const QString &error);

    QString m_path;
    Make m_make;
    mutable std::mutex m_mutex; // guards all below
    std::condition_variable m_wake;
    bool m_isEnding = false;
    QString m_error;
    std::thread m_thread;
};
