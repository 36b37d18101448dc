#include "panel/line/device_features.h"

#include <sys/ioctl.h>

namespace {

// USB adapters hold bytes back for 16 ms otherwise.
bool setLowLatency(int descriptor, bool wanted) {
    serial_struct serial{};
    if (::ioctl(descriptor, TIOCGSERIAL, &serial) != 0)
        return false;
    const auto flag = static_cast<int>(ASYNC_LOW_LATENCY);
    const int flags = wanted ? serial.flags | flag : serial.flags & ~flag;
    if (flags == serial.flags)
        return true;
    serial.flags = flags;
    return ::ioctl(descriptor, TIOCSSERIAL, &serial) == 0;
}

// A driver that does not know direction control refuses, or takes the call and leaves it off.
bool setDirectionControl(int descriptor, const Rs485Settings &settings) {
    serial_rs485 control = directionControl(settings);
    return ::ioctl(descriptor, TIOCSRS485, &control) == 0 &&
           ::ioctl(descriptor, TIOCGRS485, &control) == 0 &&
           (control.flags & SER_RS485_ENABLED) != 0;
}

} // namespace

serial_rs485 directionControl(const Rs485Settings &settings) {
    serial_rs485 control{};
    control.flags =
        SER_RS485_ENABLED | (settings.rtsOnSend ? SER_RS485_RTS_ON_SEND : SER_RS485_RTS_AFTER_SEND);
    control.delay_rts_before_send = static_cast<__u32>(settings.delayBeforeSendMs);
    control.delay_rts_after_send = static_cast<__u32>(settings.delayAfterSendMs);
    return control;
}

QStringList setDeviceFeatures(int descriptor, const LineSettings &settings) {
    QStringList remarks;
    const bool hasLatency = setLowLatency(descriptor, settings.lowLatency.value_or(true));
    if (!hasLatency && settings.lowLatency.value_or(false))
        remarks += settings.device + ": the device does not know lowLatency";
    if (settings.rs485 && !setDirectionControl(descriptor, *settings.rs485))
        remarks += settings.device + ": the device does not know rs485 (direction control)";
    return remarks;
}
