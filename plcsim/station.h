// One Modbus station: libmodbus answers the requests, the process moves between them.
#pragma once

#include <QByteArray>
#include <QString>

#include <memory>

#include <modbus.h>

class Station {
public:
    explicit Station(int number) : m_number(number) {}

    // Sets up the server and its registers. One line on failure.
    QString open();

    // Runs one cycle of the PLC, then serves a request. Empty when there is nothing to answer:
    // a broadcast, or a request whose checksum is wrong.
    QByteArray answer(const QByteArray &request);

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
};
