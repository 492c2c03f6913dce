#pragma once

// How strings and member names are kept. A string value of up to 11 bytes stands in its slot, a
// name of up to 15 in its key; what is longer is text elsewhere. The last byte of the text's part
// tells: the free bytes of an inline text (so a full one ends in its own zero), or a flag.

#include <emmintrin.h>

#include <cstdint>
#include <cstring>
#include <string_view>

#include "ZelREKernel/json/ZelJSONSlot.h"
#include "json/JSONBlock.h"

namespace ZelJSON {

// Type tags, as in ZelJSONValue::ValueType.
enum Type : std::uint32_t {
    kNull = 0,
    kInt = 1,
    kUInt = 2,
    kLongLong = 3,
    kULongLong = 4,
    kFloat = 5,
    kDouble = 6,
    kString = 7,
    kBoolean = 8,
    kArray = 9,
    kObject = 10
};

// Stores a whole slot at once: it is copied as one word soon, which has to wait when it was written
// in pieces.
inline void StoreSlot(ZelJSONSlot& slot, std::uint64_t bits, std::uint32_t type) noexcept {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(&slot),
                     _mm_set_epi64x(static_cast<std::int64_t>(std::uint64_t{type} << 32),
                                    static_cast<std::int64_t>(bits)));
}

// The aux word of a string. Inline: 11 minus the length in the top byte, text below. On the heap:
// the length in 24 bits. In a block: 12 bits of block units, 12 bits of length. All ones in a
// length stand for "count it".
constexpr std::uint32_t kInlineText = 11;
constexpr std::uint32_t kOutOfLine = 0x80000000u;
constexpr std::uint32_t kInBlock = 0xC0000000u;
constexpr std::uint32_t kNullText = kOutOfLine;
constexpr std::uint32_t kHeapLength = 0x00FFFFFFu;
constexpr std::uint32_t kBlockLength = 0x00000FFFu;
constexpr std::uint32_t kLongestBlockText = kBlockLength - 1;

inline bool IsInline(const ZelJSONSlot& slot) noexcept {
    return slot.aux < kOutOfLine;
}

// The zero-terminated text of a string slot; null for a null text.
inline const char* TextOf(const ZelJSONSlot& slot) noexcept {
    return IsInline(slot) ? reinterpret_cast<const char*>(&slot) : slot.payload.text;
}

inline std::string_view ViewOf(const ZelJSONSlot& slot) noexcept {
    if (IsInline(slot)) {
        return {reinterpret_cast<const char*>(&slot), kInlineText - (slot.aux >> 24)};
    }
    const char* const text = slot.payload.text;
    const std::uint32_t most = slot.aux < kInBlock ? kHeapLength : kBlockLength;
    const std::uint32_t length = slot.aux & most;
    return {text, length != most ? length : std::strlen(text)};
}

inline void SetInlineText(ZelJSONSlot& slot, const char* text, std::size_t length) noexcept {
    slot = ZelJSONSlot();
    std::memcpy(static_cast<void*>(&slot), text, length);
    reinterpret_cast<unsigned char*>(&slot)[kInlineText] =
        static_cast<unsigned char>(kInlineText - length);
    slot.type = kString;
}

// `text` lies in the current block of `blocks` and is at most kLongestBlockText long.
inline void SetBlockText(ZelJSONSlot& slot, char* text, std::size_t length,
                         const BlockWriter& blocks) noexcept {
    slot.payload.text = text;
    slot.aux = kInBlock | blocks.Units(text) << 12 | static_cast<std::uint32_t>(length);
    slot.type = kString;
}

// Copies `text` to the heap or into the slot. Throws std::bad_alloc and leaves the slot as it was.
void SetText(ZelJSONSlot& slot, std::string_view text);
// The same with the block writer in place of the heap.
void SetText(ZelJSONSlot& slot, std::string_view text, BlockWriter& blocks);
// Gives a string's text back; the slot then has a null text.
void ReleaseText(ZelJSONSlot& slot) noexcept;

// A member's name. Plain data: whether a long text is its own is for the holder to know.
struct Key {
    static constexpr std::size_t kInline = 15;
    static constexpr unsigned char kLong = 0x80;

    union {
        char text[16];
        struct {
            const char* pointer;
            std::uint32_t length;
        } longer;
    };

    Key() noexcept : text() {}
    // Refers to a long name's bytes, copies those of a short one.
    explicit Key(std::string_view name) noexcept : text() {
        if (name.size() <= kInline) {
            std::memcpy(text, name.data(), name.size());
            text[kInline] = static_cast<char>(kInline - name.size());
        } else {
            longer.pointer = name.data();
            longer.length = static_cast<std::uint32_t>(name.size());
            text[kInline] = static_cast<char>(kLong);
        }
    }

    bool IsLong() const noexcept { return text[kInline] < 0; }
    std::string_view View() const noexcept {
        return IsLong() ? std::string_view(longer.pointer, longer.length)
                        : std::string_view(text, kInline - static_cast<std::size_t>(text[kInline]));
    }
    // The first eight bytes as a number that compares like them; a shorter name is padded with
    // zeros, so equal numbers decide nothing.
    std::uint64_t Prefix() const noexcept {
        std::uint64_t bytes;
        std::memcpy(&bytes, IsLong() ? longer.pointer : text, sizeof bytes);
        return __builtin_bswap64(bytes);
    }
};
static_assert(sizeof(Key) == 16);

inline std::uint64_t PrefixOf(std::string_view name) noexcept {
    std::uint64_t bytes = 0;
    std::memcpy(&bytes, name.data(), name.size() < sizeof bytes ? name.size() : sizeof bytes);
    return __builtin_bswap64(bytes);
}

}  // namespace ZelJSON
