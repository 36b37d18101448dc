// A file of rows that is only ever added to, by one run after the other, and stays whole: rows are
// written all together or not at all, and what an earlier run left half is ended.
#pragma once

#include "panel/feed/log_rows.h"

#include <QByteArray>
#include <QString>

class LogFile {
public:
    LogFile() = default;
    ~LogFile();
    LogFile(const LogFile &) = delete;
    LogFile &operator=(const LogFile &) = delete;

    // Opens the file, or makes it, with the rights that the process gives. Empty, or one line that
    // names the path and says why not; a file that is no log of this format is left as it is.
    QString open(const QString &path, LogFormat format);

    // Adds rows, below the heading where the file is empty. They are the system's when this
    // returns: a process that is killed loses none. Empty, or one line; the file is then as before.
    QString append(const QByteArray &rows);

private:
    QString check();
    QString failure() const;

    QString m_path;
    LogFormat m_format = LogFormat::Csv;
    int m_descriptor = -1;
    QByteArray m_beforeRows; // what the file lacks before the next row
};
