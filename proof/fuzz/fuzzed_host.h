// A host whose every setting and record comes out of the fuzzer's bytes.
#pragma once

#include "driver/com_info.h"
#include "driver/records.h"
#include "lists/vardef.h"

#include <QByteArray>
#include <QString>
#include <fuzzer/FuzzedDataProvider.h>

// Ends the run: the fuzzer keeps the input.
void require(bool holds, const char *promise);

// The driver as it is after loading, with settings drawn from the input.
ComInfo &freshDriver(FuzzedDataProvider &input);

// Mostly small, now and then any int, often one at an extreme.
int drawInt(FuzzedDataProvider &input);

// 0 to 14 mostly.
int drawRegType(FuzzedDataProvider &input);

// A number, "a.b", or any text.
QString drawAddress(FuzzedDataProvider &input);

QByteArray drawBytes(FuzzedDataProvider &input, int most);
RW_VAR drawVar(FuzzedDataProvider &input);
VARDEF drawDefinition(FuzzedDataProvider &input);

// The bounds that hold whatever the host does.
void checkBounds();
