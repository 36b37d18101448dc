// The one state object of the driver, its locks, and the register image.
#pragma once

#include "driver/com_info.h"
#include "driver/records.h"

#include <QByteArray>
#include <QList>
#include <QMap>
#include <QMutex>

// Lock order: listMutex before stationMutex and imageMutex, imageMutex before storageMutex. Nothing
// is taken inside stationMutex or storageMutex, and none is taken twice.
class Communication_Protocol {
public:
    Communication_Protocol();
    ~Communication_Protocol();
    Communication_Protocol(const Communication_Protocol &) = delete;
    Communication_Protocol &operator=(const Communication_Protocol &) = delete;

    ComInfo *comInfo;              // the host's port block
    QList<RW_VAR> readList;        // cyclic reads in span form; the head is the next one
    QList<RW_VAR> writeList;       // writes in host form, oldest first; the head may be in flight
    QList<RW_VAR> onceReadList;    // one-shot reads in span form, oldest first
    QList<RW_VAR> spareList;       // unused
    QList<Protocol> requestList;   // built requests, the head in flight; communication thread only
    QList<EXTENDVAR> extendList;   // unused
    FinishCallback finishCallback; // called with listMutex held
    FailCallback failCallback;     // called with listMutex held
    QMutex listMutex;              // readList, writeList, onceReadList, listKind to commFailed,
                                   // currentVar, the driver's changes to ComInfo.scanDone
    QMutex imageMutex;             // the bytes of DataStorage: a reader sees a reply whole or not
    QMutex stationMutex;           // disabledStations
    QMutex storageMutex;           // every access to DataStorage; innermost
    QMap<int, int> disabledStations; // a station that is a key is switched off; the value is 0
    RW_VAR currentVar;               // variable whose exchange ended last; DataCom returns it
    int listKind;                    // list of the request in flight, see ListKind
    int writeBurst;                  // writes sent since the last cyclic read or idle call
    int onceBurst;                   // one-shot reads sent since the last cyclic read or idle call
    int passCount;                   // requests completed in the current pass over readList
    bool commFailed;                 // from a give-up until the next good reply
    bool spareFlag;                  // unused
};

// Values of listKind.
enum ListKind : int { CyclicList = 0, WriteQueue = 1, OnceReadQueue = 2, NoList = 100 };

// `result` of a cyclic entry while its read is in flight.
constexpr int ReadInFlight = -1;

extern Q_DECL_EXPORT Communication_Protocol PLC_driver;

// The register image: station -> area -> bytes; image/store.h has the layout.
extern Q_DECL_EXPORT QMap<int, QMap<int, QByteArray>> DataStorage;

// The station of a variable of this port: its own, or the port's while useVarStation is 0.
inline int stationOf(int own) {
    const ComInfo &info = *PLC_driver.comInfo;
    return info.useVarStation != 0 ? own : info.defaultStation;
}

// The host's local memories, as FlashLocalRegister got them.
extern Q_DECL_EXPORT void *LB;
extern Q_DECL_EXPORT void *LW;
extern Q_DECL_EXPORT void *RWI;
