#include "json/NumberText.h"

#include <charconv>
#include <cmath>

namespace ZelJSON {
namespace {

// All exact in a double.
constexpr double kPowersOfTen[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,
                                   1e10, 1e11, 1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19};
// Nothing smaller in size is written without an exponent, and no larger number can have all its
// digits in the 15 below.
constexpr double kSmallest = 1e-4;
constexpr double kLimit = 1e15;
constexpr int kDigits = 15;

// The power of ten of the first digit of a number from kSmallest up to kLimit.
int Magnitude(double number) noexcept {
    const int binary = static_cast<int>(std::bit_cast<std::uint64_t>(number) >> 52) - 1023;
    // The logarithm, rounded down and at most one too small: 1233 / 4096 is that of 2 to base 10,
    // a little less.
    const int guess = binary * 1233 >> 12;
    if (guess < 0) {
        return number * kPowersOfTen[-guess - 1] >= 1.0 ? guess + 1 : guess;
    }
    return number >= kPowersOfTen[guess + 1] ? guess + 1 : guess;
}

// The digits stay in registers until all is in place: reading back what was just written in other
// pieces would wait for the memory.
struct Decimal {
    std::uint64_t front;  // the first eight as text, the first one in the lowest byte
    std::uint64_t back;   // the other seven
    int count;            // without zeros at the end
    int magnitude;        // power of ten of the first digit
};

// The number as a decimal of at most 15 digits, if there is one that reads back as the same number.
// Then there is only one, since such decimals lie farther apart than doubles, and without its last
// zeros it is the shortest.
//
// Scaled so that 15 digits stand before the point, the product is less than 0.2 off, so the digits
// are the nearest integer. Both it and the power of ten are exact doubles, hence their quotient is
// rounded as a reader rounds, and comparing it decides.
bool ShortDecimal(double number, Decimal& decimal) noexcept {
    const int magnitude = Magnitude(number);
    const double power = kPowersOfTen[kDigits - 1 - magnitude];
    // NOLINTNEXTLINE(bugprone-incorrect-roundings): far from where adding a half goes wrong
    const auto integer = static_cast<std::int64_t>(number * power + 0.5);
    if (integer >= 1'000'000'000'000'000 || integer < 100'000'000'000'000 ||
        static_cast<double>(integer) / power != number) {
        return false;
    }
    const auto digits = static_cast<std::uint64_t>(integer);
    const std::uint64_t high = EightDigits(static_cast<std::uint32_t>(digits / 100'000'000));
    const std::uint64_t low = EightDigits(static_cast<std::uint32_t>(digits % 100'000'000));
    // The first of the high eight digits is none.
    decimal.front = kZeros | high >> 8 | low << 56;
    decimal.back = kZeros | low >> 8;
    const int zeros = low != 0 ? std::countl_zero(low) / 8 : 8 + std::countl_zero(high) / 8;
    decimal.count = kDigits - zeros;
    decimal.magnitude = magnitude;
    return true;
}

void Store(char* out, std::uint64_t characters) noexcept {
    std::memcpy(out, &characters, sizeof characters);
}

// A point behind the first `before` characters, of which there are 0 to 7; the eighth falls off.
std::uint64_t InsertPoint(std::uint64_t characters, int before) noexcept {
    const std::uint64_t place = std::uint64_t{1} << 8 * before;
    const std::uint64_t whole = characters & (place - 1);
    return whole | place * '.' | (characters ^ whole) << 8;
}

// Null when a notation with an exponent is shorter.
char* PutFixed(char* out, const Decimal& decimal) noexcept {
    const int before = decimal.magnitude + 1;
    const int exponentLength = decimal.count == 1 ? 5 : decimal.count + 5;
    if (before <= 0) {
        const int length = 2 - before + decimal.count;
        if (length > exponentLength) {
            return nullptr;
        }
        Store(out, InsertPoint(kZeros, 1));
        Store(out + 2 - before, decimal.front);
        Store(out + 10 - before, decimal.back);
        return out + length;
    }
    if (decimal.count <= before) {
        Store(out, decimal.front);
        Store(out + 8, decimal.back);
        return before <= exponentLength ? out + before : nullptr;
    }
    if (before < 8) {
        Store(out, InsertPoint(decimal.front, before));
        Store(out + 8, decimal.front >> 56 | decimal.back << 8);
    } else {
        Store(out, decimal.front);
        Store(out + 8, InsertPoint(decimal.back, before - 8));
    }
    return out + decimal.count + 1;
}

}  // namespace

char* PutDouble(char* out, double number) noexcept {
    if (!std::isfinite(number)) {
        const char* const word = std::isnan(number) ? "NaN"
                                 : number > 0.0     ? "Infinity"
                                                    : "-Infinity";
        const std::size_t length = std::strlen(word);
        // NOLINTNEXTLINE(bugprone-not-null-terminated-result): no text here ends in a zero
        std::memcpy(out, word, length);
        return out + length;
    }
    const double size = std::fabs(number);
    Decimal decimal;
    if (size >= kSmallest && size < kLimit && ShortDecimal(size, decimal)) {
        *out = '-';
        if (char* const end =
                PutFixed(out + (std::bit_cast<std::uint64_t>(number) >> 63), decimal)) {
            return end;
        }
    }
    return std::to_chars(out, out + kNumberRoom, number).ptr;
}

}  // namespace ZelJSON
