#include "panel/feed/log_file.h"

#include <QFile>

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr mode_t ReadWriteAll = 0666; // less what umask takes

qint64 sizeOf(int descriptor) {
    struct stat status {};
    return ::fstat(descriptor, &status) == 0 ? status.st_size : 0;
}

bool writeAll(int descriptor, const QByteArray &bytes) {
    qint64 done = 0;
    while (done < bytes.size()) {
        const auto written =
            ::write(descriptor, bytes.constData() + done, static_cast<size_t>(bytes.size() - done));
        if (written < 0 && errno != EINTR)
            return false;
        done += std::max<qint64>(0, written);
    }
    return true;
}

// What it takes to end the last row of a file. A line end within quotes ends no row, and where the
// quotes are open only the whole file tells.
QByteArray missingEnd(int descriptor, LogFormat format) {
    std::array<char, 65536> chunk{};
    bool isQuoted = false;
    char last = '\n';
    off_t at = 0;
    ssize_t length = 0;
    while ((length = ::pread(descriptor, chunk.data(), chunk.size(), at)) > 0) {
        const auto quotes = std::count(chunk.begin(), chunk.begin() + length, '"');
        isQuoted = isQuoted != (quotes % 2 != 0);
        last = chunk.at(static_cast<size_t>(length) - 1);
        at += length;
    }
    if (format == LogFormat::Csv && isQuoted)
        return "\"\n";
    return last == '\n' ? "" : "\n";
}

} // namespace

LogFile::~LogFile() {
    if (m_descriptor >= 0)
        ::close(m_descriptor);
}

QString LogFile::failure() const {
    return m_path + ": " + QString::fromLocal8Bit(std::generic_category().message(errno).c_str());
}

QString LogFile::open(const QString &path, LogFormat format) {
    m_path = path;
    m_format = format;
    m_descriptor = ::open(QFile::encodeName(path).constData(),
                          O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC, ReadWriteAll);
    return m_descriptor < 0 ? failure() : check();
}

QString LogFile::check() {
    if (sizeOf(m_descriptor) == 0)
        return {};
    const QByteArray beginning = logBeginning(m_format);
    QByteArray found(beginning.size(), '\0');
    const auto length = ::pread(m_descriptor, found.data(), static_cast<size_t>(found.size()), 0);
    if (length < found.size() || found != beginning)
        return m_path + ": there already, and no log of values";
    m_beforeRows = missingEnd(m_descriptor, m_format);
    return {};
}

QString LogFile::append(const QByteArray &rows) {
    const qint64 before = sizeOf(m_descriptor);
    if (before == 0)
        m_beforeRows = m_format == LogFormat::Csv ? logBeginning(m_format) : "";
    if (writeAll(m_descriptor, m_beforeRows + rows)) {
        m_beforeRows.clear();
        return {};
    }
    QString reason = failure();
    // A device keeps nothing that could be taken back.
    if (::ftruncate(m_descriptor, static_cast<off_t>(before)) != 0 && errno != EINVAL)
        reason += ", the last row is not whole";
    return reason;
}
