// Widths of the register types, for every place where they are told apart.
#pragma once

enum class Width { Bit, Byte, Word, Double, Quad, Unknown };

// The width of a register type's elements; Unknown outside 0 to 14.
inline Width widthOf(int regType) {
    return regType < 0 || regType > 14 ? Width::Unknown : static_cast<Width>(regType / 3);
}

// Area 6 holds input registers, which can only be read: true for the types of areas 7 and 8.
inline bool isWritableType(int regType) {
    return widthOf(regType) != Width::Unknown && regType % 3 != 0;
}

// Bytes of one element in the image and in values; a bit stands in a byte of its own in values.
inline int bytesPerElement(Width width) {
    switch (width) {
    case Width::Bit:
    case Width::Byte:
        return 1;
    case Width::Double:
        return 4;
    case Width::Quad:
        return 8;
    case Width::Word:
    case Width::Unknown:
        break;
    }
    return 2;
}

// Elements that a count in the host's units stands for: the 32-bit and 64-bit types count
// registers, and a part of an element takes a whole one.
inline int elementsOfCount(Width width, int count) {
    switch (width) {
    case Width::Double:
        return static_cast<int>((count + 1LL) / 2);
    case Width::Quad:
        return static_cast<int>((count + 3LL) / 4);
    case Width::Bit:
    case Width::Byte:
    case Width::Word:
    case Width::Unknown:
        break;
    }
    return count;
}
