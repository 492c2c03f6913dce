#pragma once

// Text between double quotes, escaped: double quote, backslash, backspace, form feed, line feed,
// carriage return and tab get a backslash; other bytes from 1 to 31 are dropped; all others stand
// as they are. A text ends at its first zero byte, if there is one.

#include <emmintrin.h>

#include <cstddef>

namespace ZelJSON {

// The most that PutEscaped needs for `length` bytes.
constexpr std::size_t EscapedRoom(std::size_t length) noexcept {
    return 2 * length + 16;
}

// Whether a text can be written as it is.
bool NeedsNoEscape(const char* text, std::size_t length) noexcept;

// Writes the text without the quotes and returns its end.
char* PutEscaped(char* out, const char* text, std::size_t length) noexcept;

// One bit for each of 16 bytes that cannot be copied as it is: below 32, a quote, a backslash.
inline unsigned SpecialBytes(__m128i bytes) noexcept {
    const __m128i control = _mm_cmpeq_epi8(_mm_min_epu8(bytes, _mm_set1_epi8(0x1F)), bytes);
    const __m128i quote = _mm_cmpeq_epi8(bytes, _mm_set1_epi8('"'));
    const __m128i backslash = _mm_cmpeq_epi8(bytes, _mm_set1_epi8('\\'));
    return static_cast<unsigned>(
        _mm_movemask_epi8(_mm_or_si128(control, _mm_or_si128(quote, backslash))));
}

// The same for at most 15 bytes in a place of 16 that may all be read.
inline char* PutShortEscaped(char* out, const char* text, std::size_t length) noexcept {
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out), bytes);
    return (SpecialBytes(bytes) & ((1u << length) - 1)) == 0 ? out + length
                                                             : PutEscaped(out, text, length);
}

}  // namespace ZelJSON
