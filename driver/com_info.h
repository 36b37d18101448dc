/// @file
/// The host's port block and the two callbacks it registers.
///
/// Both callbacks run on the communication thread inside DataCom with listMutex held: they must not
/// call an entry point that takes it. Their results are ignored; a null callback is not called.
#pragma once

#include "driver/records.h"

#include <QList>

#include <cstddef>

/// Port settings and counters shared by host and driver. The host allocates the block, keeps it
/// alive while the library is loaded and fills it before SetComInfo. The settings stay as they are
/// while screens run. The counters belong to the communication thread, except scanDone, which the
/// driver changes under listMutex.
struct ComInfo {
    int unused1;    ///< the host's own
    int unused2;    ///< the host's own
    int unused3;    ///< the host's own
    int unused4;    ///< the host's own
    int blockLimit; ///< setting: most elements of one request; 1 reads without merging or cutting
    int unused6;    ///< the host's own
    int defaultStation; ///< setting: station of every variable while useVarStation is 0
    int retryLimit;     ///< setting: failed replies tolerated before a request is given up
    int retryCount;     ///< counter: failed replies so far; the driver clears it on a give-up only
    int useVarStation;  ///< setting: nonzero lets every variable keep its own station, which then
                        ///< also tells duplicates apart when a request is given up
    int resetField1;    ///< cleared by SetComInfo
    int frameCount;     ///< counter: frames the variable in flight needs, 1 or 2
    int frameIndex;     ///< counter: frames of it answered so far
    int resetField2;    ///< cleared by SetComInfo
    int remoteMode;     ///< setting: nonzero sends remote frames in place of Modbus requests; the
                        ///< cyclic list does not turn then, its head alone is read
    int portId;         ///< setting: number of this port; requests of other ports are remote
    int commMode;       ///< setting: 2 writes to the PLC, any other value to the image only
    int scanDone; ///< result: 1 after more finished requests than the cyclic list has entries, or
                  ///< with nothing to send; 0 after a give-up and when the list is built anew
    void *hostContext; ///< handed to FinishCallback unchanged
};

// The panel's own layout: nineteen 32-bit fields.
static_assert(sizeof(void *) != 4 || sizeof(ComInfo) == 76, "ComInfo is 76 bytes on the panel");
static_assert(offsetof(ComInfo, blockLimit) == 16, "blockLimit is the fifth field");
static_assert(offsetof(ComInfo, scanDone) == 68, "scanDone is the eighteenth field");

/// A queued write or one-shot read has ended: (hostContext, ownerId, itemId, status), status 1 when
/// it was answered, 2 when it was given up. While a later entry of the same owner and item waits in
/// the queue, an answered one makes no call; a give-up makes one, and the later ones are dropped
/// without (of the same station only, while useVarStation is nonzero). No call for cyclic reads,
/// one-shot reads of the remote area, writes that a newer one replaced, and what was dropped: by a
/// full queue, for a disabled station, or because there is no request for its type.
using FinishCallback = int (*)(void *, int, int, int);

/// A request was given up: (an empty list, ownerId, 1). The list is gone after the call.
using FailCallback = int (*)(QList<RW_VAR> *, int, int);
