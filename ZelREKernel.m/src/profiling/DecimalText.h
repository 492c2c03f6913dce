#pragma once

// Unsigned numbers to decimal text, two digits at a time from a table of the pairs "00" to "99".

#include <array>
#include <cstdint>
#include <cstring>

namespace ZKL {

inline constexpr std::array<char, 200> kDigitPairs = [] {
    std::array<char, 200> pairs{};
    for (std::uint32_t i = 0; i < 100; ++i) {
        pairs[2 * i] = static_cast<char>('0' + i / 10);
        pairs[2 * i + 1] = static_cast<char>('0' + i % 10);
    }
    return pairs;
}();

inline std::uint32_t CountDigits(std::uint32_t value) noexcept {
    std::uint32_t digits = 1;
    for (; value >= 10000; value /= 10000) {
        digits += 4;
    }
    return digits + (value >= 10 ? 1u : 0u) + (value >= 100 ? 1u : 0u) + (value >= 1000 ? 1u : 0u);
}

// Writes up to 10 characters to `out`; returns the end of them.
inline char* WriteDecimal(char* out, std::uint32_t value) noexcept {
    char* const end = out + CountDigits(value);
    char* position = end;
    for (; value >= 100; value /= 100) {
        position -= 2;
        std::memcpy(position, &kDigitPairs[2 * (value % 100)], 2);
    }
    if (value >= 10) {
        std::memcpy(position - 2, &kDigitPairs[2 * value], 2);
    } else {
        position[-1] = static_cast<char>('0' + value);
    }
    return end;
}

}  // namespace ZKL
