#include "panel/command/device_options.h"

const char *const AddressHelp =
    "An ADDRESS is [STATION/]AREA:REGISTER[.BIT][*COUNT][:FORMAT[:ORDER]].\n"
    "AREA is input or holding. REGISTER counts from 0, as on the wire: 40001 in a\n"
    "manual is often holding:0. BIT is 0 to 15 of that register. FORMAT is uint16\n"
    "when left out, or int16, hex, int32, uint32, hex32, float, int64, uint64, hex64,\n"
    "double, text. ORDER is CDAB when left out (low register first), or ABCD, BADC,\n"
    "DCBA.\n"
    "  holding:100   2/input:10*4:float   holding:220.5   holding:30*8:text\n\n";

LineSettings DeviceOptions::line() const {
    LineSettings line;
    line.name = "line";
    line.device = pathText(device);
    line.baudRate = baudRate;
    line.parity = parityNames().at(parity);
    line.stopBits = line.parity == LineParity::None ? 2 : 1;
    if (stopBits > 0)
        line.stopBits = stopBits;
    line.blockLimit = 125;
    line.responseTimeoutMs = timeoutMs;
    return withUsualTimes(line);
}

void addDeviceOptions(CommandOptions app, DeviceOptions *options, int lowestStation) {
    app.add("DEVICE", &options->device, "The serial device").required().shownAs("");
    app.add("--baud", &options->baudRate, "Baud rate (19200)")
        .between(LowestBaudRate, HighestBaudRate)
        .shownAs("N");
    app.add("--parity", &options->parity, "none, odd or even (even)")
        .oneOf(allParityNames())
        .shownAs("P");
    app.add("--stop-bits", &options->stopBits, "1 or 2 (1, without parity 2)")
        .between(1, 2)
        .shownAs("N");
    app.add("--station", &options->station, "Station of addresses that name none (1)")
        .between(lowestStation, 247)
        .shownAs("N");
    app.add("--timeout", &options->timeoutMs,
            "Milliseconds that a station gets to begin its answer (300 or more)")
        .between(1, HighestTimeoutMs)
        .shownAs("MS");
    addLibraryOption(app, &options->driverLibrary);
}

std::vector<std::string> allParityNames() {
    std::vector<std::string> names;
    names.reserve(parityNames().size());
    for (const auto &[name, value] : parityNames())
        names.push_back(name);
    return names;
}
