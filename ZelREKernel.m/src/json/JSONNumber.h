#pragma once

// Decimal numbers to doubles, exactly rounded.

#include <cstdint>

#include "ZelREKernel/json/ZelJSONSlot.h"
#include "json/JSONText.h"

namespace ZelJSON {

// The double nearest to digits * 10^exponent, ties to even. False when the quick ways do not
// decide; std::from_chars does then. Takes at most 19 digits' worth.
//
// Small numbers are one exact multiplication or division (Clinger, "How to read floating point
// numbers accurately", 1990), others the product of 64 by 128 bits of Lemire, "Number parsing at a
// gigabyte per second", 2021, for exponents from -54 to 55.
bool QuickDouble(std::uint64_t digits, int exponent, double& value) noexcept;

// Reads the text of a number the way std::from_chars does in its general format; what follows the
// number is ignored. False when there is none, or when it is out of range.
bool ReadDouble(const char* first, const char* last, double& value) noexcept;

enum class NumberText { eDecoded, eForDouble, eNoNumber };
// Decodes the text of a number token that is an integer or a word; what has a fraction, an exponent
// or a sign inside, and what is too large, is left to ReadDouble.
NumberText DecodeInteger(const char* first, const char* last, ZelJSONSlot& slot) noexcept;

inline void SetDouble(ZelJSONSlot& slot, double value) noexcept {
    slot.payload.doubleNumber = value;
    slot.aux = 0;
    slot.type = kDouble;
}

// Stores an integer by its size. A negative magnitude is at most 2^63.
inline void SetInteger(ZelJSONSlot& slot, std::uint64_t magnitude, bool negative) noexcept {
    slot.aux = 0;
    slot.payload.bits = magnitude;
    if (negative) {
        // Readers of these documents count on negative numbers being cut to 32 bits.
        slot.payload.bits = static_cast<std::uint32_t>(0 - magnitude);
        slot.type = kInt;
    } else if (magnitude <= 0x7FFFFFFF) {
        slot.type = kInt;
    } else {
        slot.type = magnitude >> 63 != 0 ? kULongLong : kLongLong;
    }
}

}  // namespace ZelJSON
