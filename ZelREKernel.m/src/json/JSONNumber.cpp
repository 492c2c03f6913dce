#include "json/JSONNumber.h"

#include <array>
#include <bit>
#include <charconv>
#include <cstring>
#include <limits>
#include <string_view>

#include "json/JSONText.h"

namespace ZelJSON {
namespace {

__extension__ using Wide = unsigned __int128;

constexpr int kLeast = -54;
constexpr int kMost = 55;
constexpr int kTies = -27;  // below it a product of all ones leaves the rounding open

struct Power {
    std::uint64_t high;
    std::uint64_t low;
};

// 5^exponent in 128 bits, the top one set: cut off for positive exponents (all of these are exact),
// rounded up for those down to -27, cut off below.
constexpr Power PowerOfFive(int exponent) {
    Wide five = 1;
    for (int i = exponent < 0 ? -exponent : exponent; i > 0; --i) {
        five *= 5;
    }
    Wide bits = five;
    if (exponent < 0) {
        Wide rest = 1;  // the largest power of two below `five`: long division, bit by bit
        while (rest < five - rest) {
            rest *= 2;
        }
        bits = 0;
        for (int i = 0; i < 128; ++i) {
            rest *= 2;
            bits *= 2;
            if (rest >= five) {
                rest -= five;
                ++bits;
            }
        }
        bits += exponent >= kTies ? 1 : 0;
    }
    while ((bits >> 127) == 0) {
        bits *= 2;
    }
    return {static_cast<std::uint64_t>(bits >> 64), static_cast<std::uint64_t>(bits)};
}

constexpr auto kPowersOfFive = [] {
    std::array<Power, kMost - kLeast + 1> powers{};
    for (int i = kLeast; i <= kMost; ++i) {
        powers[static_cast<std::size_t>(i - kLeast)] = PowerOfFive(i);
    }
    return powers;
}();

struct Product {
    std::uint64_t high;
    std::uint64_t low;
};

Product Multiply(std::uint64_t a, std::uint64_t b) noexcept {
    const Wide product = Wide{a} * b;
    return {static_cast<std::uint64_t>(product >> 64), static_cast<std::uint64_t>(product)};
}

// `digits` is not 0 and `exponent` within the table, so the result is a normal number.
bool Scale(std::uint64_t digits, int exponent, double& value) noexcept {
    constexpr int kMantissaBits = 52;
    const int shift = std::countl_zero(digits);
    digits <<= shift;
    const Power& power = kPowersOfFive[static_cast<std::size_t>(exponent - kLeast)];
    Product product = Multiply(digits, power.high);
    if ((product.high & 0x1FF) == 0x1FF) {
        // The bits that decide the rounding may still get a carry from the lower half.
        const Product lower = Multiply(digits, power.low);
        product.low += lower.high;
        product.high += product.low < lower.high ? 1 : 0;
    }
    if (product.low == std::numeric_limits<std::uint64_t>::max() && exponent < kTies) {
        return false;
    }
    const int top = static_cast<int>(product.high >> 63);
    const int drop = top + 64 - kMantissaBits - 3;
    std::uint64_t mantissa = product.high >> drop;
    // An exact tie goes to the even neighbour.
    if (product.low <= 1 && exponent >= -4 && exponent <= 23 && (mantissa & 3) == 1 &&
        mantissa << drop == product.high) {
        mantissa &= ~std::uint64_t{1};
    }
    mantissa += mantissa & 1;
    mantissa >>= 1;
    // The binary exponent of 10^exponent, by a fixed-point logarithm, and the bias.
    int binary = (((152170 + 65536) * exponent) >> 16) + 63 + top - shift + 1023;
    if (mantissa >> (kMantissaBits + 1) != 0) {
        mantissa = std::uint64_t{1} << kMantissaBits;
        ++binary;
    }
    mantissa &= ~(std::uint64_t{1} << kMantissaBits);
    value = std::bit_cast<double>(mantissa | static_cast<std::uint64_t>(binary) << kMantissaBits);
    return true;
}

void SetFloat(ZelJSONSlot& slot, float value) noexcept {
    slot.payload.bits = 0;
    slot.payload.floatNumber = value;
    slot.aux = 0;
    slot.type = kFloat;
}

bool IsForDouble(const char* first, const char* last) noexcept {
    for (const char* at = first; at != last; ++at) {
        if (*at == '.' || *at == 'e' || *at == 'E' || *at == '+' || (*at == '-' && at != first)) {
            return true;
        }
    }
    return false;
}

}  // namespace

bool ScaleDigits(std::uint64_t digits, int exponent, double& value) noexcept {
    return digits != 0 && exponent >= kLeast && exponent <= kMost && Scale(digits, exponent, value);
}

bool ReadDouble(const char* first, const char* last, double& value) noexcept {
    return std::from_chars(first, last, value).ec == std::errc();
}

NumberText DecodeInteger(const char* first, const char* last, ZelJSONSlot& slot) noexcept {
    if (IsForDouble(first, last)) {
        return NumberText::eForDouble;
    }
    const bool negative = first != last && *first == '-';
    const char* const digits = first + (negative ? 1 : 0);
    const std::string_view word(digits, static_cast<std::size_t>(last - digits));
    if (word == "Infinity") {
        constexpr float kInfinity = std::numeric_limits<float>::infinity();
        SetFloat(slot, negative ? -kInfinity : kInfinity);
        return NumberText::eDecoded;
    }
    if (word == "NaN") {
        SetFloat(slot, std::numeric_limits<float>::quiet_NaN());
        return NumberText::eDecoded;
    }
    const std::uint64_t limit = negative ? std::uint64_t{1} << 63 : ~std::uint64_t{0};
    std::uint64_t magnitude = 0;
    for (const char* at = digits; at != last; ++at) {
        const auto digit = static_cast<unsigned>(*at - '0');
        if (digit > 9) {
            return NumberText::eNoNumber;
        }
        if (magnitude > limit / 10 || (magnitude == limit / 10 && digit > limit % 10)) {
            return NumberText::eForDouble;
        }
        magnitude = magnitude * 10 + digit;
    }
    SetInteger(slot, magnitude, negative);
    return NumberText::eDecoded;
}

}  // namespace ZelJSON
