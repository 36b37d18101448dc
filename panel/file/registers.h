// The driver's areas of registers and where they lie on the line.
#pragma once

constexpr int RegisterBits = 16;
constexpr int InputArea = 6;
constexpr int HighArea = 8; // holding registers from 5000 on; the rest of them is area 7
constexpr int HighAreaOffset = 5000;

// What is to be added to an area's register for its number on the line.
constexpr int wireOffset(int area) {
    return area == HighArea ? HighAreaOffset : 0;
}
