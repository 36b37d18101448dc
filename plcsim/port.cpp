#include "port.h"

#include <QFile>

#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

QString Port::open() {
    if (isTerminal())
        return m_terminal.open(m_options.link);
    m_device = ::open(QFile::encodeName(m_options.device).constData(),
                      O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (m_device >= 0 && applySettings(m_device, m_options.line))
        return {};
    QString error = m_options.device + ": " + qt_error_string(errno);
    close();
    return error;
}

void Port::close() {
    m_terminal.close();
    if (m_device >= 0)
        ::close(m_device);
    m_device = -1;
}

QByteArray Port::read() {
    QByteArray bytes(512, '\0');
    const ssize_t count = ::read(descriptor(), bytes.data(), static_cast<size_t>(bytes.size()));
    const bool isEmpty = count < 0 && (errno == EAGAIN || errno == EINTR);
    if (count <= 0 && !isEmpty && !isTerminal())
        close();
    return bytes.left(count > 0 ? static_cast<int>(count) : 0);
}

void Port::write(const QByteArray &bytes) const {
    [[maybe_unused]] const ssize_t sent =
        ::write(descriptor(), bytes.constData(), static_cast<size_t>(bytes.size()));
}

int Port::wrongHostBaud() const {
    if (!isTerminal() || !m_options.isPaced)
        return 0;
    const auto host = readSettings(descriptor());
    if (!host || host->baud == PseudoTerminal::NoBaud)
        return 0;
    const bool stopBitsDiffer = m_options.framingIsSet && host->stopBits != m_options.line.stopBits;
    return host->baud != m_options.line.baud || stopBitsDiffer ? host->baud : 0;
}
