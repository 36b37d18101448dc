// A line without wires: sets the driver up and answers its requests from memory.
#pragma once

#include "include/plc_driver.h"

#include <QByteArray>
#include <QList>

// The port block of the line: requests of up to 120 registers, every variable its own station,
// writes go to the PLC.
ComInfo &benchPort();

// `count` definitions of area 7, spread over `stations` stations and every element width; a
// multiple of `stations`.
QList<VARDEF> benchDefinitions(int count, int stations);

// The good reply of a station whose registers all hold 0x1234; empty for a broadcast.
QByteArray benchReply(const Protocol &request);
