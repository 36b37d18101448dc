#include "station.h"

#include "process_values.h"

#include <array>
#include <cerrno>

#include <sys/socket.h>
#include <unistd.h>

namespace {

// libmodbus waits this long for the rest of a request and, for some refusals, before it answers;
// the request lies whole in the socket by then.
constexpr uint32_t ServerTimeoutUs = 1000;

} // namespace

Station::Descriptor::~Descriptor() {
    if (number >= 0)
        ::close(number);
}

QString Station::open() {
    std::array<int, 2> ends{-1, -1};
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, ends.data()) != 0)
        return "socket: " + qt_error_string(errno);
    m_serverEnd.number = ends[0];
    m_ourEnd.number = ends[1];

    // The device name is never opened: the context works on the socket.
    m_server.reset(modbus_new_rtu("/dev/null", 19200, 'N', 8, 1));
    m_registers.reset(modbus_mapping_new(0, 0, HoldingRegisters, InputRegisters));
    if (!m_server || !m_registers || modbus_set_slave(m_server.get(), m_number) != 0 ||
        modbus_set_socket(m_server.get(), m_serverEnd.number) != 0) {
        return QString("station %1: %2").arg(m_number).arg(modbus_strerror(errno));
    }
    modbus_set_indication_timeout(m_server.get(), 0, ServerTimeoutUs);
    modbus_set_response_timeout(m_server.get(), 0, ServerTimeoutUs);
    modbus_set_byte_timeout(m_server.get(), 0, ServerTimeoutUs);
    return {};
}

QByteArray Station::answer(const QByteArray &request) {
    runCycle();
    if (::write(m_ourEnd.number, request.constData(), static_cast<size_t>(request.size())) < 0)
        return {};
    std::array<uint8_t, MODBUS_RTU_MAX_ADU_LENGTH> query{};
    const int length = modbus_receive(m_server.get(), query.data());
    if (length <= 0) {
        dropUnread();
        return {};
    }
    modbus_reply(m_server.get(), query.data(), length, m_registers.get());
    return takeAnswer();
}

void Station::runCycle() {
    ++m_cycle;
    writeProcessValues(m_number, m_cycle, m_registers->tab_input_registers);
    writeProcessValues(m_number, m_cycle, m_registers->tab_registers);
    writeProcessValues(m_number, m_cycle, m_registers->tab_registers + HighHolding);
}

// modbus_flush() acts on terminals only.
void Station::dropUnread() const {
    std::array<uint8_t, MODBUS_RTU_MAX_ADU_LENGTH> bytes{};
    while (::recv(m_serverEnd.number, bytes.data(), bytes.size(), MSG_DONTWAIT) > 0) {
    }
}

QByteArray Station::takeAnswer() const {
    QByteArray bytes(MODBUS_RTU_MAX_ADU_LENGTH, '\0');
    const ssize_t count = ::read(m_ourEnd.number, bytes.data(), static_cast<size_t>(bytes.size()));
    return bytes.left(count > 0 ? static_cast<int>(count) : 0);
}
