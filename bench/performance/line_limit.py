"""What a serial line allows, whoever the master is."""

BITS = 11  # of a character: start, 8 data bits, parity, stop
FAST_BAUD = 19200  # above it the silence stays the same
FAST_SILENCE_MS = 1.75
REQUEST_BYTES = 8
REPLY_OVERHEAD = 5


def character_ms(baud):
    return 1000 * BITS / baud


def silence_ms(baud):
    return FAST_SILENCE_MS if baud > FAST_BAUD else 3.5 * character_ms(baud)


def read_ms(baud, registers, reply_time_ms=0):
    """A read of so many registers: a silence, the request, the station's time, which is at least
    another silence, and the reply."""
    characters = REQUEST_BYTES + REPLY_OVERHEAD + 2 * registers
    return (silence_ms(baud) + max(silence_ms(baud), reply_time_ms)
            + characters * character_ms(baud))
