// Builds the remote frames.
#include "remote/remote_frames.h"

#include "driver/requests.h"
#include "image/write_back.h"
#include "modbus/checksums.h"
#include "modbus/frame_bytes.h"

namespace {

// The header's fields behind the length byte, most significant byte first, then the value. The
// length is the whole frame's, checksum included, and the checksum covers it.
QByteArray remoteFrame(const RW_VAR &var, const QByteArray &value) {
    QByteArray fields;
    appendBigEndian(fields, var.ownerId, 1);
    appendBigEndian(fields, var.isWrite, 1);
    appendBigEndian(fields, var.portId, 1);
    appendBigEndian(fields, var.station, 1);
    appendBigEndian(fields, var.regType, 2);
    appendBigEndian(fields, var.address, 4);
    appendBigEndian(fields, var.count, 2);
    appendBigEndian(fields, var.saveMode, 4);
    appendBigEndian(fields, var.spare, 4);
    fields.append(value);

    QByteArray frame;
    appendBigEndian(frame, 1 + fields.size() + 1, 1);
    frame.append(fields);
    appendSum(frame);
    return frame;
}

} // namespace

void Remote_ReadVar(RW_VAR *var) {
    queueReadRequest(remoteFrame(*var, QByteArray()), *var);
}

void Remote_WriteVar(RW_VAR *var) {
    queueWriteRequest(remoteFrame(*var, var->value), *var);
    WriteDataToLocal(var);
}
