#include "station.h"

#include "frame.h"
#include "process_values.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <iterator>

#include <sys/socket.h>
#include <unistd.h>

namespace {

// libmodbus waits this long for the rest of a request and, for some refusals, before it answers;
// the request lies whole in the socket by then.
constexpr uint32_t ServerTimeoutUs = 1000;

// Functions that libmodbus serves.
bool isServed(int function) {
    constexpr int Served[] = {1, 2, 3, 4, 5, 6, 15, 16, 17, 22, 23};
    return std::find(std::begin(Served), std::end(Served), function) != std::end(Served);
}

// The process writes these over in every cycle.
bool isProcessValue(Table table, int address) {
    if (table == Table::Coils || table == Table::Discrete)
        return address < MovingBits;
    const bool isHigh = table == Table::Holding && address >= HighHolding;
    return (isHigh ? address - HighHolding : address) < MovingRegisters;
}

bool overlap(const Span &one, const Span &other) {
    return one.table == other.table && one.first < other.first + other.count &&
           other.first < one.first + one.count;
}

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
    m_registers.reset(modbus_mapping_new(Coils, DiscreteInputs, HoldingRegisters, InputRegisters));
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
    const int function = byteAt(request, 1);
    if ((function & ExceptionBit) != 0)
        return {}; // somebody's answer
    const int refusal = !isServed(function)    ? IllegalFunction
                        : touchesHole(request) ? IllegalAddress
                                               : 0;
    if (refusal == 0)
        return serve(request);
    const bool isBroadcast = byteAt(request, 0) == MODBUS_BROADCAST_ADDRESS;
    return isBroadcast ? QByteArray() : exceptionAnswer(request, refusal);
}

bool Station::touchesHole(const QByteArray &request) const {
    for (const Span &span : spansOf(request)) {
        for (const Span &hole : m_holes) {
            if (overlap(span, hole))
                return true;
        }
    }
    return false;
}

bool Station::isMoving(Table table, int address) const {
    const Span one{table, address, 1};
    return isProcessValue(table, address) ||
           std::any_of(m_moving.begin(), m_moving.end(),
                       [&](const MapEntry &entry) { return overlap(entry.span, one); });
}

void Station::apply(const MapEntry &entry) {
    if (entry.isHole)
        m_holes.push_back(entry.span);
    if (entry.motion.step != 0)
        m_moving.push_back(entry);
    int address = entry.span.first;
    for (const int value : entry.values)
        set(entry.span.table, address++, value);
}

void Station::move(const MapEntry &entry) {
    const Motion &motion = entry.motion;
    const int positions = (motion.to - motion.from) / motion.step + 1;
    const auto position = static_cast<int>((m_cycle - 1) % static_cast<unsigned>(positions));
    for (int i = 0; i < entry.span.count; ++i) {
        putEntry(m_registers.get(), entry.span.table, entry.span.first + i,
                 motion.from + position * motion.step);
    }
}

bool Station::set(Table table, int address, int value) {
    if (address < 0 || address >= sizeOf(*m_registers, table))
        return false;
    putEntry(m_registers.get(), table, address, value);
    if (isMoving(table, address))
        m_held[{table, address}] = value;
    return true;
}

void Station::runCycle() {
    ++m_cycle;
    writeProcessValues(m_number, m_cycle, m_registers->tab_input_registers);
    writeProcessValues(m_number, m_cycle, m_registers->tab_registers);
    writeProcessValues(m_number, m_cycle, m_registers->tab_registers + HighHolding);
    writeProcessBits(m_cycle, m_registers->tab_bits);
    writeProcessBits(m_cycle, m_registers->tab_input_bits);
    for (const MapEntry &entry : m_moving)
        move(entry);
    for (const auto &[entry, value] : m_held)
        putEntry(m_registers.get(), entry.first, entry.second, value);
}

QByteArray Station::serve(const QByteArray &request) {
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
