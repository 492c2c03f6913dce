#pragma once

// Numbers as text, into a buffer that the caller made large enough. Every function returns the end
// of what it wrote and ends nothing with a zero; all may write up to kNumberRoom bytes.

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace ZelJSON {

constexpr std::size_t kNumberRoom = 48;

// The decimal digits of a number below 10^8 as the bytes 0 to 9, the first in the lowest byte.
// Two halves of four digits, then four pairs, then eight digits, each step on all parts at once;
// the multiplications with shifts are exact divisions by 100 and by 10 for numbers that small.
inline std::uint64_t EightDigits(std::uint32_t number) noexcept {
    const std::uint64_t halves = number / 10000 | static_cast<std::uint64_t>(number % 10000) << 32;
    const std::uint64_t hundreds = (halves * 10486 >> 20) & 0x0000007F0000007F;
    const std::uint64_t pairs = hundreds | (halves - hundreds * 100) << 16;
    const std::uint64_t tens = (pairs * 103 >> 10) & 0x000F000F000F000F;
    return tens | (pairs - tens * 10) << 8;
}

constexpr std::uint64_t kZeros = 0x3030303030303030;

inline char* PutEightDigits(char* out, std::uint32_t number) noexcept {
    const std::uint64_t text = EightDigits(number) | kZeros;
    std::memcpy(out, &text, sizeof text);
    return out + sizeof text;
}

// Without leading zeros; "0" for 0.
inline char* PutUpToEightDigits(char* out, std::uint32_t number) noexcept {
    const std::uint64_t digits = EightDigits(number);
    // The last digit is kept in any case.
    const int leading = std::countr_zero(digits | std::uint64_t{1} << 56) & ~7;
    const std::uint64_t text = (digits | kZeros) >> leading;
    std::memcpy(out, &text, sizeof text);
    return out + 8 - leading / 8;
}

inline char* PutUnsigned(char* out, std::uint64_t number) noexcept {
    constexpr std::uint64_t kHundredMillion = 100'000'000;
    if (number < kHundredMillion) {
        return PutUpToEightDigits(out, static_cast<std::uint32_t>(number));
    }
    const std::uint64_t rest = number / kHundredMillion;
    if (rest < kHundredMillion) {
        out = PutUpToEightDigits(out, static_cast<std::uint32_t>(rest));
    } else {
        out = PutUpToEightDigits(out, static_cast<std::uint32_t>(rest / kHundredMillion));
        out = PutEightDigits(out, static_cast<std::uint32_t>(rest % kHundredMillion));
    }
    return PutEightDigits(out, static_cast<std::uint32_t>(number % kHundredMillion));
}

inline char* PutSigned(char* out, std::int64_t number) noexcept {
    const auto bits = static_cast<std::uint64_t>(number);
    if (number >= 0) {
        return PutUnsigned(out, bits);
    }
    *out = '-';
    return PutUnsigned(out + 1, 0 - bits);
}

// "NaN", "Infinity", "-Infinity", or the shortest text that reads back as the same number, byte
// for byte that of std::to_chars without a format.
char* PutDouble(char* out, double number) noexcept;

}  // namespace ZelJSON
