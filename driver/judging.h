// Judging a reply and the result codes.
#pragma once

#include "driver/records.h"

#include <QByteArray>

// All of these belong to the communication thread. The failure codes are
//   10 + n, 40 + n, 70 + n      local area: invalid reply, no reply, wrong length
//   110 + n, 140 + n, 170 + n   remote area: the same
// where n is ownerId + 1 for an ownerId of 0 to 11 and 1 for any other; 200 is an unknown kind.
enum ResultCode : int {
    RetryPending = 0, // failed, will be sent again; DataCom only
    GoodReply = 1,    // stored, or nothing to store
    RemoteReply = 100 // good on the remote area
};

// Judge a reply of `length` bytes against the head of requestList, which must not be empty, store
// what it brings, and return the result code. Local: the request's portId is this port's own; takes
// imageMutex and storageMutex, before them listMutex for the read half of a bit or byte write.
// Remote: any other portId; only the read half of a bit write is used, under listMutex.
Q_DECL_EXPORT int DealDataOfLocalArea(QByteArray *reply, int length);
Q_DECL_EXPORT int DealDataOfRemoteArea(QByteArray *reply, int length);

// Result code of a failure kind: 0 good; 1, 2, 3 local invalid, none, length; 4 good on the remote
// area; 5, 6, 7 remote invalid, none, length. Kinds 1 to 3 and 5 to 7 need a request in
// requestList.
Q_DECL_EXPORT int GetDriverReturnValue(int kind);

// base plus the offset of the head request's owner; requestList must not be empty.
Q_DECL_EXPORT int SwitchErrorReturn(int base);
