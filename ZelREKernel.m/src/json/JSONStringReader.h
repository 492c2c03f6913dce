#pragma once

// Strings of a document that keeps to the grammar, sixteen bytes at a time (SSE2, which every
// processor of the architecture has).

#include <emmintrin.h>

#include <bit>
#include <forward_list>
#include <string>

#include "json/JSONText.h"

namespace ZelJSON {

// The number that the four hexadecimal digits at `p` stand for; false when they are none.
bool ReadHex(const char* p, unsigned& value) noexcept;

// Appends a code point's UTF-8 at `to`, which has room for four bytes, and returns the end. Nothing
// above 0x10FFFF; surrogates are encoded like any other.
char* EncodeUtf8(unsigned codePoint, char* to) noexcept;

// What the letter behind a backslash stands for; 0 for the letter u and for no escape at all.
char DecodeEscape(char letter) noexcept;

class StringReader {
public:
    // `last`: the document's end, where a zero stands.
    explicit StringReader(const char* last) noexcept : last_(last) {}

    // Both start behind the opening quote and return the place behind the closing one; null when
    // the string is malformed, has no end, or holds a zero byte. They throw std::bad_alloc.
    const char* ReadValue(const char* p, ZelJSONSlot& slot, BlockWriter& blocks) {
        if (last_ - p >= kStep) [[likely]] {
            const __m128i bytes = Load(p);
            if (const unsigned specials = Specials(bytes)) {
                const auto length = static_cast<unsigned>(std::countr_zero(specials));
                if (p[length] != '"') {
                    return ReadEscapedValue(p, p + length, slot, blocks);
                }
                if (length <= kInlineText) {
                    StoreInlineValue(bytes, length, slot);
                } else {
                    char* const text = blocks.Room(kStep);
                    Store(text, bytes);
                    FinishText(text, length, slot, blocks);
                }
                return p + length + 1;
            }
            return ReadLongValue(p, slot, blocks);
        }
        return ReadEscapedValue(p, Find(p), slot, blocks);
    }

    // The key of a long name refers to the document, or to text that lives as long as this reader.
    const char* ReadName(const char* p, Key& key) {
        if (last_ - p >= kStep) [[likely]] {
            const __m128i bytes = Load(p);
            if (const unsigned specials = Specials(bytes)) {
                const auto length = static_cast<unsigned>(std::countr_zero(specials));
                if (p[length] == '"') [[likely]] {
                    StoreInlineName(bytes, length, key);
                    return p + length + 1;
                }
            }
        }
        return ReadLongName(p, key);
    }

private:
    static constexpr std::ptrdiff_t kStep = 16;

    static __m128i Load(const char* p) noexcept {
        return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    }
    static void Store(void* p, __m128i bytes) noexcept {
        _mm_storeu_si128(static_cast<__m128i*>(p), bytes);
    }
    // A bit for each byte that ends the plain part of a string: quote, backslash, zero.
    static unsigned Specials(__m128i bytes) noexcept {
        const __m128i quote = _mm_cmpeq_epi8(bytes, _mm_set1_epi8('"'));
        const __m128i backslash = _mm_cmpeq_epi8(bytes, _mm_set1_epi8('\\'));
        const __m128i zero = _mm_cmpeq_epi8(bytes, _mm_setzero_si128());
        return static_cast<unsigned>(
            _mm_movemask_epi8(_mm_or_si128(_mm_or_si128(quote, backslash), zero)));
    }
    // All ones in the first `length` bytes.
    static __m128i FirstBytes(unsigned length) noexcept {
        const __m128i index = _mm_set_epi8(15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0);
        return _mm_cmplt_epi8(index, _mm_set1_epi8(static_cast<char>(length)));
    }
    static void StoreInlineValue(__m128i bytes, unsigned length, ZelJSONSlot& slot) noexcept {
        // The text, then the aux word's top byte and the type.
        const __m128i tail =
            _mm_set_epi32(kString, static_cast<int>((kInlineText - length) << 24), 0, 0);
        Store(&slot, _mm_or_si128(_mm_and_si128(bytes, FirstBytes(length)), tail));
    }
    static void StoreInlineName(__m128i bytes, unsigned length, Key& key) noexcept {
        Store(&key, _mm_and_si128(bytes, FirstBytes(length)));
        key.text[Key::kInline] = static_cast<char>(Key::kInline - length);
    }
    static void FinishText(char* text, std::size_t length, ZelJSONSlot& slot,
                           BlockWriter& blocks) noexcept {
        text[length] = '\0';
        SetBlockText(slot, text, length, blocks);
        blocks.Take(text + length + 1);
    }

    // The first special byte from `p` on, or the document's end.
    const char* Find(const char* p) const noexcept {
        for (; last_ - p >= kStep; p += kStep) {
            if (const unsigned specials = Specials(Load(p))) {
                return p + std::countr_zero(specials);
            }
        }
        while (p != last_ && *p != '"' && *p != '\\' && *p != '\0') {
            ++p;
        }
        return p;
    }

    const char* ReadLongValue(const char* p, ZelJSONSlot& slot, BlockWriter& blocks);
    const char* ReadEscapedValue(const char* p, const char* special, ZelJSONSlot& slot,
                                 BlockWriter& blocks);
    const char* ReadLongName(const char* p, Key& key);
    const char* FindEnd(const char* special) const noexcept;
    char* Decode(const char* p, const char* end, char* to) const noexcept;

    const char* last_;
    std::string decoded_;
    std::forward_list<std::string> names_;
};

}  // namespace ZelJSON
