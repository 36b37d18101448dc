// What a serial device can do beyond speed and framing: hand on bytes without delay, switch the
// direction of a two-wire line by itself.
#pragma once

#include "panel/file/line_settings.h"

#include <QStringList>

#include <linux/serial.h>

// The kernel's form of the settings.
serial_rs485 directionControl(const Rs485Settings &settings);

// Sets what the settings ask for on an open device. One line for each thing that was asked for and
// that the device cannot do.
QStringList setDeviceFeatures(int descriptor, const LineSettings &settings);
