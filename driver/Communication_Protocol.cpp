// Builds the driver's state when the library is loaded; the image is destroyed before it.
#include "driver/Communication_Protocol.h"

// PLC_driver has static storage, so comInfo and the callbacks are null already.
Communication_Protocol::Communication_Protocol()
    : listMutex(QMutex::NonRecursive), imageMutex(QMutex::NonRecursive),
      stationMutex(QMutex::NonRecursive), storageMutex(QMutex::NonRecursive), listKind(NoList),
      writeBurst(0), onceBurst(0), passCount(0), commFailed(false), spareFlag(false) {}

Communication_Protocol::~Communication_Protocol() = default;

// The order of these two is the order of construction, and destruction is the reverse.
Communication_Protocol PLC_driver;
QMap<int, QMap<int, QByteArray>> DataStorage;

void *LB = nullptr;
void *LW = nullptr;
void *RWI = nullptr;
