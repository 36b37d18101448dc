// What a request frame asks for, as a station reads it, and what a write record asks for, as the
// one who queued it means it. The two are written apart so that one can check the other.
#pragma once

#include "driver/records.h"
#include "memory.h"

#include <QByteArray>

struct Request {
    bool sound = false; // complete, with a good checksum
    int station = 0;
    unsigned char function = 0; // 3, 4 or 16; 0 for what no station serves
    Access access;
};

Request decodeModbus(const QByteArray &frame);
Request decodeRemote(const QByteArray &frame);

// The registers that a write in host form is to change.
Access accessOfWrite(const RW_VAR &var);
