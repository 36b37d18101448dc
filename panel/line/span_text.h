// How long something has lasted, for people.
#pragma once

#include <QString>

#include <chrono>

// "45 s", "12 min", "3 h 5 min", "4 d 2 h".
QString spanText(std::chrono::seconds time);
