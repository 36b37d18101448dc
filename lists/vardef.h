/// @file
/// The host's definition of one variable to be read cyclically.
#pragma once

#include <QString>

#include <cstddef>

/// Read by ReCreatReadVarList, never changed. The record crosses the library boundary, so its
/// layout is fixed; the unnamed bytes belong to the host.
struct VARDEF {
    unsigned char unused0 = 0; ///< the host's own
    unsigned char regType = 0; ///< register type 0 to 14
    unsigned char station = 0; ///< used only while ComInfo.useVarStation is nonzero
    unsigned char unused3 = 0; ///< the host's own
    unsigned char unused4 = 0; ///< the host's own
    unsigned char unused5 = 0; ///< the host's own
    unsigned char unused6 = 0; ///< the host's own
    unsigned char unused7 = 0; ///< the host's own
    QString addressText;       ///< "100", or "12.3" for the bit types
    QString hostText;          ///< the host's own text, carried into the request
    int count = 0;             ///< bits, bytes, or registers (for the 32-bit and 64-bit types too)
};

static_assert(sizeof(void *) != 4 || sizeof(VARDEF) == 20, "VARDEF is 20 bytes on the panel");
static_assert(offsetof(VARDEF, regType) == 1 && offsetof(VARDEF, station) == 2);
static_assert(offsetof(VARDEF, addressText) == 8);
static_assert(sizeof(void *) != 4 || offsetof(VARDEF, hostText) == 12);
static_assert(sizeof(void *) != 4 || offsetof(VARDEF, count) == 16);
