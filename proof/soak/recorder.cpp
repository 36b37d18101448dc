// Callbacks into a list.
#include "recorder.h"

#include "plc_driver.h"

namespace {

Recorder *attached = nullptr; // failCallback has no context

int onFinish(void *context, int ownerId, int itemId, int status) {
    attached->foreignContext |= context != attached;
    attached->reports.push_back({false, ownerId, itemId, status});
    return 0;
}

int onFail(QList<RW_VAR> *list, int ownerId, int flag) {
    attached->reports.push_back({true, ownerId, 0, flag});
    if (list == nullptr || !list->isEmpty()) {
        attached->foreignContext = true;
    } else {
        list->append(RW_VAR()); // the driver must not look at it afterwards
    }
    return 0;
}

} // namespace

void Recorder::attach(ComInfo &info) {
    attached = this;
    info.hostContext = this;
    RegistCallBackFuncIntf(onFinish, onFail);
}
