// Values that the host writes, copied into the image.
#pragma once

#include "driver/records.h"

// Copies a write in host form into the image, so that screens show it before the PLC confirms it.
// Missing bytes of `value` count as zero; area 6 and unknown types write nothing. The variable is
// not changed. Any thread; takes storageMutex and imageMutex.
Q_DECL_EXPORT void WriteDataToLocal(RW_VAR *var);
