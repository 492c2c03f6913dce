#pragma once

// Decimal numbers to doubles, exactly rounded.

#include <bit>
#include <cstdint>

#include "ZelREKernel/json/ZelJSONSlot.h"
#include "json/JSONText.h"

namespace ZelJSON {

// QuickDouble's second way: the product of 64 by 128 bits of Lemire, "Number parsing at a gigabyte
// per second", 2021, for exponents from -54 to 55.
bool ScaleDigits(std::uint64_t digits, int exponent, double& value) noexcept;

// The double nearest to digits * 10^exponent, ties to even. False when the quick ways do not
// decide; std::from_chars does then. Small numbers are one exact multiplication or division
// (Clinger, "How to read floating point numbers accurately", 1990).
inline bool QuickDouble(std::uint64_t digits, int exponent, double& value) noexcept {
    static constexpr double kPowersOfTen[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                              1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15,
                                              1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
    constexpr std::uint64_t kExact = std::uint64_t{1} << 53;
    if (digits <= kExact && exponent >= -22 && exponent <= 22) {
        const auto exact = static_cast<double>(static_cast<std::int64_t>(digits));
        value = exponent < 0 ? exact / kPowersOfTen[-exponent] : exact * kPowersOfTen[exponent];
        return true;
    }
    return ScaleDigits(digits, exponent, value);
}

// Reads the text of a number the way std::from_chars does in its general format; what follows the
// number is ignored. False when there is none, or when it is out of range.
bool ReadDouble(const char* first, const char* last, double& value) noexcept;

enum class NumberText { eDecoded, eForDouble, eNoNumber };
// Decodes the text of a number token that is an integer or a word; what has a fraction, an exponent
// or a sign inside, and what is too large, is left to ReadDouble.
NumberText DecodeInteger(const char* first, const char* last, ZelJSONSlot& slot) noexcept;

inline void SetDouble(ZelJSONSlot& slot, double value) noexcept {
    StoreSlot(slot, std::bit_cast<std::uint64_t>(value), kDouble);
}

// Stores an integer by its size. A negative magnitude is at most 2^63.
inline void SetInteger(ZelJSONSlot& slot, std::uint64_t magnitude, bool negative) noexcept {
    if (negative) {
        // Readers of these documents count on negative numbers being cut to 32 bits.
        StoreSlot(slot, static_cast<std::uint32_t>(0 - magnitude), kInt);
    } else {
        StoreSlot(slot, magnitude,
                  magnitude <= 0x7FFFFFFF ? kInt : (magnitude >> 63 != 0 ? kULongLong : kLongLong));
    }
}

}  // namespace ZelJSON
