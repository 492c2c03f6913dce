#include "json/QuotedText.h"

#include <bit>
#include <cstdint>
#include <cstring>

namespace ZelJSON {
namespace {

// Whether one of eight bytes is special. A byte below `n` borrows into its top bit when `n` is
// subtracted, and bytes equal to another are zero after an exclusive or.
bool HasSpecialByte(std::uint64_t bytes) noexcept {
    constexpr std::uint64_t kOnes = 0x0101010101010101;
    constexpr std::uint64_t kTops = 0x8080808080808080;
    const std::uint64_t quote = bytes ^ kOnes * '"';
    const std::uint64_t backslash = bytes ^ kOnes * '\\';
    return (((bytes - kOnes * 0x20) & ~bytes) | ((quote - kOnes) & ~quote) |
            ((backslash - kOnes) & ~backslash)) &
           kTops;
}

template <class Word>
Word Load(const char* from) noexcept {
    Word word;
    std::memcpy(&word, from, sizeof word);
    return word;
}

// The letter behind the backslash, or 0 for a byte that is dropped.
char EscapeOf(char byte) noexcept {
    switch (byte) {
        case '"':
        case '\\':
            return byte;
        case '\b':
            return 'b';
        case '\f':
            return 'f';
        case '\n':
            return 'n';
        case '\r':
            return 'r';
        case '\t':
            return 't';
        default:
            return 0;
    }
}

char* PutSpecial(char* out, char byte) noexcept {
    const char escape = EscapeOf(byte);
    if (escape == 0) {
        return out;
    }
    out[0] = '\\';
    out[1] = escape;
    return out + 2;
}

bool IsSpecial(char byte) noexcept {
    return static_cast<unsigned char>(byte) < 0x20 || byte == '"' || byte == '\\';
}

// Copies fewer than 16 bytes by two words that may overlap, if they are all plain.
bool CopyPlain(char* out, const char* text, std::size_t length) noexcept {
    if (length >= 8) {
        const auto front = Load<std::uint64_t>(text);
        const auto back = Load<std::uint64_t>(text + length - 8);
        std::memcpy(out, &front, 8);
        std::memcpy(out + length - 8, &back, 8);
        return !HasSpecialByte(front) && !HasSpecialByte(back);
    }
    if (length >= 4) {
        const auto front = Load<std::uint32_t>(text);
        const auto back = Load<std::uint32_t>(text + length - 4);
        std::memcpy(out, &front, 4);
        std::memcpy(out + length - 4, &back, 4);
        return !HasSpecialByte(front | std::uint64_t{back} << 32);
    }
    return length == 0;
}

}  // namespace

bool NeedsNoEscape(const char* text, std::size_t length) noexcept {
    for (; length >= 16; text += 16, length -= 16) {
        if (SpecialBytes(_mm_loadu_si128(reinterpret_cast<const __m128i*>(text))) != 0) {
            return false;
        }
    }
    for (; length != 0; ++text, --length) {
        if (IsSpecial(*text)) {
            return false;
        }
    }
    return true;
}

char* PutEscaped(char* out, const char* text, std::size_t length) noexcept {
    while (length >= 16) {
        const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out), bytes);
        const unsigned special = SpecialBytes(bytes);
        if (special == 0) {
            text += 16;
            out += 16;
            length -= 16;
            continue;
        }
        const auto plain = static_cast<std::size_t>(std::countr_zero(special));
        if (text[plain] == 0) {
            return out + plain;
        }
        out = PutSpecial(out + plain, text[plain]);
        text += plain + 1;
        length -= plain + 1;
    }
    if (CopyPlain(out, text, length)) {
        return out + length;
    }
    for (const char* const end = text + length; text != end && *text != 0; ++text) {
        if (IsSpecial(*text)) {
            out = PutSpecial(out, *text);
        } else {
            *out++ = *text;
        }
    }
    return out;
}

}  // namespace ZelJSON
