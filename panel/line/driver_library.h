// The driver as the panel uses it: its entry points by their names, and where its library is found.
// driver_copy.h loads it.
#pragma once

#include "plc_driver.h"

#include <QString>

struct Driver {
    decltype(&::SetComInfo) SetComInfo = nullptr;
    decltype(&::RegistCallBackFuncIntf) RegistCallBackFuncIntf = nullptr;
    decltype(&::FlashLocalRegister) FlashLocalRegister = nullptr;
    decltype(&::QueryFinishFlag) QueryFinishFlag = nullptr;
    decltype(&::ComCommunication) ComCommunication = nullptr;
    decltype(&::DataCom) DataCom = nullptr;
    decltype(&::EnableEthernet) EnableEthernet = nullptr;
    decltype(&::EnCommStation) EnCommStation = nullptr;
    decltype(&::PLCAddressChangeIntef) PLCAddressChangeIntef = nullptr;
    decltype(&::AddListReadVar) AddListReadVar = nullptr;
    decltype(&::ReCreatReadVarList) ReCreatReadVarList = nullptr;
    decltype(&::AddListOnceReadVar) AddListOnceReadVar = nullptr;
    decltype(&::AddListWriteVar) AddListWriteVar = nullptr;
    decltype(&::SetRegisterData) SetRegisterData = nullptr;
    decltype(&::GetRegisterData) GetRegisterData = nullptr;
};

// Fills `driver` from a library that dlopen has loaded. Returns the first name that it lacks.
QString findEntryPoints(void *library, Driver *driver);

// The library to load when none is named: the one beside the program's build, otherwise the
// installed one, by the name that the system's loader knows. Needs a QCoreApplication.
QString defaultLibrary();
