#include "pseudo_terminal.h"

#include "terminal_settings.h"

#include <QFile>
#include <QFileInfo>

#include <array>
#include <cerrno>
#include <cstdlib>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/inotify.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

namespace {

constexpr LineSettings Untouched{PseudoTerminal::NoBaud, Parity::None, 1};

// Emulators of another processor do not know the kernel's interface for any speed. There the host's
// speed cannot be seen either, and the line takes it for its own.
bool leaveUntouched(int descriptor) {
    termios settings{};
    if (applySettings(descriptor, Untouched))
        return true;
    if (::tcgetattr(descriptor, &settings) != 0)
        return false;
    ::cfmakeraw(&settings);
    ::cfsetspeed(&settings, B50);
    return ::tcsetattr(descriptor, TCSANOW, &settings) == 0;
}

QString systemError(const QString &what) {
    return what + ": " + qt_error_string(errno);
}

// Where a symbolic link leads; empty when it is none.
QString linkTarget(const QString &link) {
    return QFileInfo(link).symLinkTarget();
}

} // namespace

QString PseudoTerminal::open(const QString &link) {
    QString error = openDevice();
    if (error.isEmpty() && !link.isEmpty())
        error = makeLink(link);
    if (!error.isEmpty())
        close();
    return error;
}

void PseudoTerminal::close() {
    // Another program may have put its own there meanwhile.
    if (!m_link.isEmpty() && linkTarget(m_link) == m_devicePath)
        QFile::remove(m_link);
    m_link.clear();
    for (int *descriptor : {&m_watch, &m_device, &m_master}) {
        if (*descriptor >= 0)
            ::close(*descriptor);
        *descriptor = -1;
    }
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
    if (m_device < 0 || !leaveUntouched(m_device))
        return systemError(m_devicePath);
    m_watch = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (m_watch >= 0)
        ::inotify_add_watch(m_watch, path.data(), IN_CLOSE);
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

void PseudoTerminal::noteClosing() {
    std::array<char, 4096> events{};
    while (::read(m_watch, events.data(), events.size()) > 0)
        m_wasClosed = true;
}

void PseudoTerminal::makeReady() {
    if (!m_wasClosed && m_watch >= 0)
        return;
    m_wasClosed = false;
    // The next host is there already, and has put both right itself.
    if (::flock(m_device, LOCK_EX | LOCK_NB) != 0)
        return;
    ::ioctl(m_device, TIOCNXCL);
    leaveUntouched(m_device);
    ::flock(m_device, LOCK_UN);
}
