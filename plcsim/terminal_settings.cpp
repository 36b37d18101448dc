#include "terminal_settings.h"

#include <asm/termbits.h> // excludes <termios.h>
#include <sys/ioctl.h>

namespace {

Parity parityOf(tcflag_t flags) {
    if ((flags & PARENB) == 0)
        return Parity::None;
    return (flags & PARODD) != 0 ? Parity::Odd : Parity::Even;
}

tcflag_t framingFlags(const LineSettings &settings) {
    tcflag_t flags = CS8 | CREAD | CLOCAL | BOTHER;
    if (settings.parity != Parity::None)
        flags |= PARENB;
    if (settings.parity == Parity::Odd)
        flags |= PARODD;
    if (settings.stopBits == 2)
        flags |= CSTOPB;
    return flags;
}

} // namespace

std::optional<LineSettings> readSettings(int descriptor) {
    termios2 found{};
    if (::ioctl(descriptor, TCGETS2, &found) != 0)
        return std::nullopt;
    return LineSettings{static_cast<int>(found.c_ospeed), parityOf(found.c_cflag),
                        (found.c_cflag & CSTOPB) != 0 ? 2 : 1};
}

bool applySettings(int descriptor, const LineSettings &settings) {
    termios2 wanted{};
    wanted.c_cflag = framingFlags(settings);
    wanted.c_cc[VMIN] = 1;
    wanted.c_ispeed = static_cast<speed_t>(settings.baud);
    wanted.c_ospeed = wanted.c_ispeed;
    return ::ioctl(descriptor, TCSETS2, &wanted) == 0;
}
