#include "pseudo_terminal.h"

#include <QFile>
#include <QFileInfo>

#include <array>
#include <cerrno>
#include <cstdlib>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

namespace {

QString systemError(const QString &what) {
    return what + ": " + qt_error_string(errno);
}

// Where a symbolic link leads; empty when it is none.
QString linkTarget(const QString &link) {
    return QFileInfo(link).symLinkTarget();
}

bool makeRaw(int descriptor, termios *settings) {
    if (::tcgetattr(descriptor, settings) != 0)
        return false;
    ::cfmakeraw(settings);
    return ::tcsetattr(descriptor, TCSANOW, settings) == 0;
}

} // namespace

PseudoTerminal::~PseudoTerminal() {
    // Another program may have put its own there meanwhile.
    if (!m_link.isEmpty() && linkTarget(m_link) == m_devicePath)
        QFile::remove(m_link);
    for (const int descriptor : {m_device, m_master}) {
        if (descriptor >= 0)
            ::close(descriptor);
    }
}

QString PseudoTerminal::open(const QString &link) {
    const QString error = openDevice();
    return error.isEmpty() && !link.isEmpty() ? makeLink(link) : error;
}

QString PseudoTerminal::openDevice() {
    m_master = ::posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (m_master < 0 || ::grantpt(m_master) != 0 || ::unlockpt(m_master) != 0)
        return systemError("pseudo-terminal");
    std::array<char, 64> path{};
    if (::ptsname_r(m_master, path.data(), path.size()) != 0)
        return systemError("pseudo-terminal");
    m_devicePath = QFile::decodeName(path.data());
    m_device = ::open(path.data(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (m_device < 0 || !makeRaw(m_device, &m_settings))
        return systemError(m_devicePath);
    return {};
}

QString PseudoTerminal::makeLink(const QString &link) {
    // A link that an earlier run left behind is replaced, anything else stays. The pseudo-terminal
    // of that run may be ours now.
    const QString target = linkTarget(link);
    if (!target.isEmpty() && (!QFile::exists(target) || target == m_devicePath))
        QFile::remove(link);
    if (::symlink(QFile::encodeName(m_devicePath).constData(),
                  QFile::encodeName(link).constData()) != 0) {
        return systemError(link);
    }
    m_link = link;
    return {};
}

QByteArray PseudoTerminal::read() const {
    QByteArray bytes(512, '\0');
    const ssize_t count = ::read(m_master, bytes.data(), static_cast<size_t>(bytes.size()));
    return bytes.left(count > 0 ? static_cast<int>(count) : 0);
}

void PseudoTerminal::makeReady() const {
    ::ioctl(m_device, TIOCNXCL);
    ::tcsetattr(m_device, TCSANOW, &m_settings);
}

void PseudoTerminal::write(const QByteArray &bytes) const {
    [[maybe_unused]] const ssize_t sent =
        ::write(m_master, bytes.constData(), static_cast<size_t>(bytes.size()));
}
