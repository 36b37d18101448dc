// The settings of one serial line, as the panel file gives them.
#pragma once

#include <QString>

#include <chrono>
#include <map>
#include <optional>
#include <string>

enum class LineParity { None, Odd, Even };

// "none", "odd", "even", as options and panel files name them.
const std::map<std::string, LineParity> &parityNames();
QString parityName(LineParity parity);

// Which requests cover the variables.
enum class PlanChoice {
    Driver,  // the driver's own merging
    Fastest, // the blocks that take the least line time
};

// Direction control of a two-wire line by the kernel.
struct Rs485Settings {
    bool rtsOnSend = true; // polarity: RTS is high while sending
    int delayBeforeSendMs = 0;
    int delayAfterSendMs = 0;
};

// Times that are left out of the file follow the baud rate; the reader has filled them in.
struct LineSettings {
    QString name; // "line" for a `port` without one
    QString device;
    int baudRate = 19200;
    LineParity parity = LineParity::Even;
    int stopBits = 1;

    int blockLimit = 100; // most registers of one request
    int retryLimit = 2;   // failed replies tolerated before a request is given up
    PlanChoice plan = PlanChoice::Driver;

    int responseTimeoutMs = 0;   // end of the request to the first byte of a reply
    int byteTimeoutMs = 0;       // silence after a byte that ends a reply
    int quietAfterFailureMs = 0; // silence before a request whose answer a late one could pass for
    int broadcastDelayMs = 0;    // what the stations get to carry out a broadcast
    int silenceUs = 0;           // between two frames
    int requestDelayMs = 0;      // an extra pause before each request
    int scanIntervalMs = 0;      // passes begin no more often; 0 as fast as the line goes

    double deadShare = 0.08; // of the line's time, for stations that do not answer
    // Longest rest of a station that does not answer, as far as deadShare allows; 0: none.
    int restAfterGiveUpSeconds = 5;

    std::optional<bool> lowLatency;     // left out: where the device knows it
    std::optional<Rs485Settings> rs485; // left out: the device's own affair
    bool localEcho = false;             // the adapter hears what it sends
};

// Start bit, eight data bits, parity, stop bits: eleven with the default settings.
int bitsPerCharacter(const LineSettings &line);

// What this many characters take on the line, rounded up.
std::chrono::microseconds timeOfCharacters(const LineSettings &line, double characters);

// The times that the baud rate, parity and stop bits of a line ask for, for a file or a command
// line that gives none.
struct LineTimes {
    int responseTimeoutMs;
    int byteTimeoutMs;
    int leastByteTimeoutMs; // a shorter one would end every reply after its first byte
    int broadcastDelayMs;
    int silenceUs;
};
LineTimes usualTimes(const LineSettings &line);

// The settings with every time that is 0 and may not be set to the usual one. For those who have no
// panel file.
LineSettings withUsualTimes(LineSettings line);
