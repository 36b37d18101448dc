// One Modbus station: libmodbus answers the requests, the process moves between them.
#pragma once

#include "map_file.h"
#include "tables.h"

#include <QByteArray>
#include <QString>

#include <map>
#include <memory>

#include <modbus.h>

class Station {
public:
    explicit Station(int number) : m_number(number) {}

    // Sets up the server and its registers. One line on failure.
    QString open();

    // Runs one cycle of the PLC, then serves a request with a good checksum. Empty when there is
    // nothing to answer: a broadcast, or what was no request.
    QByteArray answer(const QByteArray &request);

    // Adds what the map file says. An entry lies in the tables.
    void apply(const MapEntry &entry);
    // Sets a register or bit from outside; one that moves stays as it is set. False when there is
    // none.
    bool set(Table table, int address, int value);

private:
    struct Descriptor {
        Descriptor() = default;
        ~Descriptor();
        Descriptor(const Descriptor &) = delete;
        Descriptor &operator=(const Descriptor &) = delete;
        int number = -1;
    };
    struct Free {
        void operator()(modbus_t *context) const { modbus_free(context); }
        void operator()(modbus_mapping_t *registers) const { modbus_mapping_free(registers); }
    };

    void runCycle();
    void move(const MapEntry &entry);
    bool touchesHole(const QByteArray &request) const;
    bool isMoving(Table table, int address) const;
    QByteArray serve(const QByteArray &request);
    void dropUnread() const;
    QByteArray takeAnswer() const;

    int m_number;
    unsigned m_cycle = 0;
    // A libmodbus server swallows what follows a request for another station, so each has a socket
    // of its own instead of the line.
    Descriptor m_serverEnd;
    Descriptor m_ourEnd;
    std::unique_ptr<modbus_t, Free> m_server;
    std::unique_ptr<modbus_mapping_t, Free> m_registers;
    std::vector<Span> m_holes;
    std::vector<MapEntry> m_moving;
    std::map<std::pair<Table, int>, int> m_held; // moving ones that were set from outside
};
