#include "command_input.h"

#include <array>
#include <cerrno>

#include <unistd.h>

namespace {

constexpr int LongestLine = 4096;
// A program in the background must not read the terminal; it may be in front again later.
constexpr auto Background = std::chrono::seconds(1);

} // namespace

int CommandInput::descriptor(TimePoint now) const {
    return m_isOpen && now >= m_quietUntil ? STDIN_FILENO : -1;
}

QStringList CommandInput::read(TimePoint now) {
    std::array<char, LongestLine> bytes{};
    const ssize_t count = ::read(STDIN_FILENO, bytes.data(), bytes.size());
    if (count < 0 && errno == EIO && ::isatty(STDIN_FILENO) != 0) {
        m_quietUntil = now + Background;
    } else if (count <= 0) {
        m_isOpen = count < 0 && errno == EINTR;
    }
    m_begun += QByteArray(bytes.data(), count > 0 ? static_cast<int>(count) : 0);
    QStringList lines;
    for (int end = m_begun.indexOf('\n'); end >= 0; end = m_begun.indexOf('\n')) {
        lines << QString::fromUtf8(m_begun.left(end)).simplified();
        m_begun.remove(0, end + 1);
    }
    if (m_begun.size() > LongestLine)
        m_begun.clear();
    return lines;
}
