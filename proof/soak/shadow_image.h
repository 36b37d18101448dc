// What the register image must hold, byte for byte: built beside the driver from the replies that
// it must accept and the values that screens write.
#pragma once

#include "driver/records.h"
#include "plant.h"

#include <QByteArray>
#include <QMap>

#include <map>
#include <string>
#include <vector>

// Where an image register's value comes from.
enum class Origin : unsigned char {
    Untouched, // zero
    Plc,       // read by a reply of its own
    Other      // written by a screen, or brought by a wrong reply that looked right
};

struct ShadowArea {
    QByteArray bytes;
    std::vector<Origin> origins; // one a register
};

class ShadowImage {
public:
    using Image = QMap<int, QMap<int, QByteArray>>;

    // Room for elements of a register type, as a read or a write of them makes it.
    void makeRoom(int station, int regType, int address, int count);

    // Registers as a reply brings them.
    void store(int station, int areaNumber, int first, const std::vector<quint16> &values,
               Origin origin);

    // A write in host form.
    void writeBack(const RW_VAR &var);

    // The answer that a screen must get; makes room like the read itself.
    QByteArray read(int station, int regType, int address, int count);

    // Empty when the driver's image is the same, otherwise what differs first.
    std::string difference(const Image &image) const;

    // Empty when every register that only replies have reached holds a value of its PLC register.
    std::string unheldRegister(const Image &image, const Plant &plant) const;

private:
    ShadowArea &area(int station, int regType);
    static void setByte(ShadowArea &area, int index, char value, Origin origin);
    static void writeBits(ShadowArea &target, const RW_VAR &var);

    std::map<int, std::map<int, ShadowArea>> stations;
};
