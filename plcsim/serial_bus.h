// The line with its stations: hands each request to the station it names, and its answer back.
#pragma once

#include "options.h"
#include "pseudo_terminal.h"
#include "request_cutter.h"
#include "station.h"

#include <map>

class SerialBus {
public:
    // Both outlive the bus.
    SerialBus(const Options &options, const PseudoTerminal &line);

    // Sets up every station. One line on failure.
    QString open();

    // Serves until `stopDescriptor` becomes readable.
    void serve(int stopDescriptor);

private:
    struct Outlet {
        explicit Outlet(int number) : station(number) {}
        Station station;
        int requests = 0;
    };

    void takeBytes(int stopDescriptor);
    void serveRequest(const QByteArray &request, int stopDescriptor);
    bool isSilent(int number, const Outlet &outlet) const;
    void keepWaiting(int number, int stopDescriptor) const;

    const Options &m_options;
    const PseudoTerminal &m_line;
    RequestCutter m_cutter;
    std::map<int, Outlet> m_outlets; // by station number
};
