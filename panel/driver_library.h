// The driver as the panel loads it: found by path at run time, its entry points by their names.
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

// Loads the library for the rest of the process: its state lives as long. One line on failure.
QString loadDriver(const QString &path, Driver *driver);
