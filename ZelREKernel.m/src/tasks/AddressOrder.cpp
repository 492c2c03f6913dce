#include "tasks/AddressOrder.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <utility>

namespace ZKL {
namespace {

constexpr unsigned kDigitBits = 11;
constexpr std::size_t kDigits = std::size_t{1} << kDigitBits;
constexpr unsigned kCacheLineBits = 6;

std::uintptr_t Number(const void* address) noexcept {
    return reinterpret_cast<std::uintptr_t>(address);
}

// One pass: stable by the digit at `shift` of the distance below `highest`.
void Distribute(void* const* from, void** to, std::size_t count, std::uintptr_t highest,
                unsigned shift) noexcept {
    const auto digit = [&](const void* address) {
        return ((highest - Number(address)) >> shift) & (kDigits - 1);
    };
    std::array<std::size_t, kDigits> place{};
    for (std::size_t i = 0; i < count; ++i) {
        ++place[digit(from[i])];
    }
    std::size_t next = 0;
    for (std::size_t& first : place) {
        next += std::exchange(first, next);
    }
    for (std::size_t i = 0; i < count; ++i) {
        to[place[digit(from[i])]++] = from[i];
    }
}

}  // namespace

void OrderByAddress(void** addresses, void** scratch, std::size_t count) noexcept {
    if (count == 0) {
        return;
    }
    const auto [least, most] = std::minmax_element(addresses, addresses + count);
    const std::uintptr_t highest = Number(*most);
    const auto rangeBits = static_cast<unsigned>(std::bit_width(highest - Number(*least)));
    void** from = addresses;
    void** to = scratch;
    for (unsigned shift = kCacheLineBits; shift < rangeBits; shift += kDigitBits) {
        Distribute(from, to, count, highest, shift);
        std::swap(from, to);
    }
    if (from != addresses) {
        std::copy_n(from, count, addresses);
    }
}

}  // namespace ZKL
