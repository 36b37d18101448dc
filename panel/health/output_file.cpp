#include "panel/health/output_file.h"

#include <QFile>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;

constexpr auto Patience = std::chrono::seconds(1);
constexpr int GlanceMs = 100;         // between two looks at whether the run ends
constexpr mode_t ReadWriteAll = 0666; // less what umask takes

} // namespace

OutputFile::~OutputFile() {
    if (m_isOwn)
        ::close(m_descriptor);
}

QString OutputFile::failure(const QString &reason) const {
    return m_name + ": " + reason;
}

QString OutputFile::open(const QString &path) {
    m_name = path;
    m_descriptor = ::open(QFile::encodeName(path).constData(),
                          O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, ReadWriteAll);
    m_isOwn = m_descriptor >= 0;
    return m_isOwn ? QString() : failure(qt_error_string(errno));
}

void OutputFile::useStandardOutput() {
    m_name = "standard output";
    m_descriptor = STDOUT_FILENO;
}

// A pipe that can be written to takes PIPE_BUF bytes without blocking.
QString OutputFile::write(const QByteArray &bytes) {
    for (int done = 0; done < bytes.size();) {
        if (m_isGivenUp || !waitUntilWritable()) {
            m_isGivenUp = true;
            return failure("its reader takes nothing");
        }
        const int size = std::min(bytes.size() - done, PIPE_BUF);
        const auto written =
            ::write(m_descriptor, bytes.constData() + done, static_cast<std::size_t>(size));
        if (written < 0 && errno != EINTR && errno != EAGAIN) {
            m_isReaderGone = errno == EPIPE;
            return failure(qt_error_string(errno));
        }
        done += static_cast<int>(std::max<ssize_t>(0, written));
    }
    return {};
}

bool OutputFile::waitUntilWritable() const {
    pollfd poll{m_descriptor, POLLOUT, 0};
    Clock::time_point wanted = Clock::now() + Patience;
    while (::poll(&poll, 1, GlanceMs) <= 0) {
        if (!m_isHurried)
            wanted = Clock::now() + Patience;
        if (Clock::now() >= wanted)
            return false;
    }
    return true;
}
