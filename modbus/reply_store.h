// From a good read reply into the register image.
#pragma once

#include <QByteArray>

// Stores the data of a reply to the head of requestList, low byte of each register first; the reply
// to the read half of a bit or byte write goes into the waiting write frame instead. Only bytes
// that the request covers are touched. Communication thread, with imageMutex held (listMutex for a
// read half); takes storageMutex.
Q_DECL_EXPORT void SaveToLocalDataErea(QByteArray *reply);
