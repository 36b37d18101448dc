// The four tables of a station, and what of them a request touches.
#pragma once

#include <QByteArray>
#include <QString>

#include <optional>
#include <vector>

#include <modbus.h>

enum class Table { Coils, Discrete, Input, Holding };

// "coil", "discrete", "input", "holding"
std::optional<Table> readTable(const QString &name);

struct Span {
    Table table;
    int first;
    int count;
};

// What a request reads and writes; empty when the function touches no table or is not known.
std::vector<Span> spansOf(const QByteArray &request);

// Entries that libmodbus keeps of a table.
int sizeOf(const modbus_mapping_t &registers, Table table);
// Puts a value where it exists; a bit is set by anything but 0.
void putEntry(modbus_mapping_t *registers, Table table, int address, int value);
