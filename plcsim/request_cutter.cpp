#include "request_cutter.h"

#include <modbus.h>

namespace {

constexpr int Unknown = -1;
constexpr int MoreBytes = 0;
// A byte count may promise more; libmodbus would never take the rest.
constexpr int MaxRequest = MODBUS_RTU_MAX_ADU_LENGTH;

// Bytes of the request that `bytes` begins with, checksum included.
int requestLength(const QByteArray &bytes) {
    if (bytes.size() < 2)
        return MoreBytes;
    switch (static_cast<unsigned char>(bytes[1])) {
    case 1: // reads of bits and registers, writes of one
    case 2:
    case 3:
    case 4:
    case 5:
    case 6:
        return 8;
    case 15: // writes of many: the byte count stands before the data
    case 16:
        return bytes.size() < 7 ? MoreBytes : 9 + static_cast<unsigned char>(bytes[6]);
    default:
        return Unknown;
    }
}

} // namespace

QByteArray RequestCutter::next() {
    const int length = requestLength(m_pending);
    if (length == Unknown || length > MaxRequest)
        clear();
    if (length <= 0 || m_pending.size() < length)
        return {};
    QByteArray request = m_pending.left(length);
    m_pending.remove(0, length);
    return request;
}
