// Compares the driver with the ledger after every call.
#pragma once

#include "driver/com_info.h"
#include "ledger.h"
#include "plant.h"

#include <string>

// Each answers an empty text, or what is wrong.

// The request that ComCommunication offers.
std::string checkRequest(const ExpectedRequest *expected, const Protocol *offered);

// Counters, the lengths and heads of the lists, the image, the stations' registers.
std::string checkState(const Ledger &ledger, const ComInfo &info, const Plant &plant);

// Every entry of every list, and every image register that only replies reach.
std::string checkEverything(const Ledger &ledger, const ComInfo &info, const Plant &plant);

// The record that DataCom returns.
std::string checkCurrent(const Ledger &ledger, const RW_VAR *returned);

// After a pass without faults: the image holds what the stations hold.
std::string checkPassedOver(const Plant &plant);
