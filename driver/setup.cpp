// The host's set-up calls, made before its loop and its screens start.
#include "driver/Communication_Protocol.h"
#include "plc_driver.h"

void SetComInfo(ComInfo *info) {
    info->resetField2 = 0;
    info->resetField1 = 0;
    PLC_driver.comInfo = info;
}

void RegistCallBackFuncIntf(FinishCallback finish, FailCallback fail) {
    PLC_driver.finishCallback = finish;
    PLC_driver.failCallback = fail;
}

void FlashLocalRegister(void *bits, void *words, void *third) {
    LB = bits;
    LW = words;
    RWI = third;
}

int QueryFinishFlag() {
    return 1;
}
