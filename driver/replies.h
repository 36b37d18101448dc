// Taking a reply, result codes included; the entry point DataCom is in plc_driver.h.
#pragma once

#include "driver/judging.h"
#include "driver/records.h"

// Copies every field but `value`, which is emptied in the target.
Q_DECL_EXPORT void passRetValue(const RW_VAR &source, RW_VAR &target);
