// The options of the commands that go to a device without a panel file.
#pragma once

#include "panel/command/command.h"
#include "panel/file/line_settings.h"

#include <string>
#include <vector>

struct DeviceOptions {
    std::string device;
    std::string driverLibrary;
    int baudRate = 19200;
    std::string parity = "even";
    int stopBits = 0; // 0: 1, without parity 2
    int station = 1;
    int timeoutMs = 0; // 0: what the baud rate asks for

    // With every time filled in.
    LineSettings line() const;
};

// DEVICE, --baud, --parity, --stop-bits, --station, --timeout, --library. Stations from
// `lowestStation` on.
void addDeviceOptions(CommandOptions app, DeviceOptions *options, int lowestStation);

constexpr int LowestBaudRate = 300;
constexpr int HighestBaudRate = 4'000'000;
constexpr int HighestTimeoutMs = 60'000;

// The names of parityNames().
std::vector<std::string> allParityNames();

// What an ADDRESS is, for the help of a command.
extern const char *const AddressHelp;
