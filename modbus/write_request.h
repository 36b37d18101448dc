// Write requests (function code 16), and bits and bytes by reading their register, changing the
// part and writing it back.
#pragma once

#include "driver/records.h"

#include <QByteArray>

// Appends the requests of a write in host form: one, or for a bit or byte of area 7 or 8 a read and
// a write that waits for the read's reply. Copies the value into the image unless commFailed is
// set. The variable is not changed. Communication thread, with listMutex held; takes imageMutex and
// storageMutex.
Q_DECL_EXPORT void WriteRegister(RW_VAR *var);

// Appends one write request. `value` holds count elements, each register low byte first; missing
// bytes are sent as zero. Types without a write request of
// their own (bits, bytes, area 6) get a frame with function code 0, which no station acknowledges.
// The variable is not changed. Communication thread.
Q_DECL_EXPORT void WriteAnalog(RW_VAR *var);

// Fill the waiting write, the second of requestList, from the reply to its read: the register as
// read with the one bit or byte of the head of writeList changed, and a new CRC. A reply under 6
// bytes, no head, or no second request: nothing happens. Communication thread, with listMutex held.
Q_DECL_EXPORT void SpecialRegisterSave(QByteArray *reply);
Q_DECL_EXPORT void SpecialRegisterSaveByte(QByteArray *reply);
