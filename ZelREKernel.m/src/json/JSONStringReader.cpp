#include "json/JSONStringReader.h"

#include <cstring>

namespace ZelJSON {
namespace {

// Reads the escape whose letter u stands before `p`, its second half included. 0 for one that is
// malformed and for the zero character, which ends a text.
unsigned ReadCodePoint(const char*& p, const char* end) noexcept {
    unsigned first;
    if (end - p < 4 || !ReadHex(p, first)) {
        return 0;
    }
    p += 4;
    if (first < 0xD800 || first > 0xDBFF) {
        return first;
    }
    if (end - p < 6 || p[0] != '\\' || p[1] != 'u') {
        return 0;
    }
    unsigned second;
    if (!ReadHex(p + 2, second)) {
        return 0;
    }
    p += 6;
    return 0x10000 + ((first & 0x3FF) << 10) + (second & 0x3FF);
}

}  // namespace

bool ReadHex(const char* p, unsigned& value) noexcept {
    value = 0;
    for (int i = 0; i < 4; ++i) {
        const char c = p[i];
        unsigned digit;
        if (c >= '0' && c <= '9') {
            digit = static_cast<unsigned>(c - '0');
        } else if ((c | 0x20) >= 'a' && (c | 0x20) <= 'f') {
            digit = static_cast<unsigned>((c | 0x20) - 'a') + 10;
        } else {
            return false;
        }
        value = value * 16 + digit;
    }
    return true;
}

char* EncodeUtf8(unsigned codePoint, char* to) noexcept {
    const auto put = [&to](unsigned byte) { *to++ = static_cast<char>(byte); };
    if (codePoint <= 0x7F) {
        put(codePoint);
    } else if (codePoint < 0x800) {
        put(0xC0 | codePoint >> 6);
        put(0x80 | (codePoint & 0x3F));
    } else if (codePoint < 0x10000) {
        put(0xE0 | codePoint >> 12);
        put(0x80 | (codePoint >> 6 & 0x3F));
        put(0x80 | (codePoint & 0x3F));
    } else if (codePoint <= 0x10FFFF) {
        put(0xF0 | codePoint >> 18);
        put(0x80 | (codePoint >> 12 & 0x3F));
        put(0x80 | (codePoint >> 6 & 0x3F));
        put(0x80 | (codePoint & 0x3F));
    }
    return to;
}

char DecodeEscape(char letter) noexcept {
    switch (letter) {
        case '"':
        case '\\':
        case '/':
            return letter;
        case 'b':
            return '\b';
        case 'f':
            return '\f';
        case 'n':
            return '\n';
        case 'r':
            return '\r';
        case 't':
            return '\t';
        default:
            return '\0';
    }
}

const char* StringReader::ReadLongValue(const char* p, ZelJSONSlot& slot, BlockWriter& blocks) {
    const char* const special = Find(p + kStep);
    if (special == last_ || *special != '"') {
        return ReadEscapedValue(p, special, slot, blocks);
    }
    const auto length = static_cast<std::size_t>(special - p);
    if (length > kLongestBlockText || last_ - special < kStep) {
        SetText(slot, {p, length}, blocks);
        return special + 1;
    }
    // Whole steps: the last one reads past the string and writes past its text.
    char* const text = blocks.Room(length + kStep);
    for (std::size_t i = 0; i < length; i += kStep) {
        Store(text + i, Load(p + i));
    }
    FinishText(text, length, slot, blocks);
    return special + 1;
}

// The closing quote, from the first special byte on; null when there is none or a zero comes first.
const char* StringReader::FindEnd(const char* special) const noexcept {
    while (special != last_ && *special == '\\') {
        if (last_ - special < 2 || special[1] == '\0') {
            return nullptr;
        }
        special = Find(special + 2);
    }
    return special != last_ && *special == '"' ? special : nullptr;
}

const char* StringReader::ReadEscapedValue(const char* p, const char* special, ZelJSONSlot& slot,
                                           BlockWriter& blocks) {
    const char* const end = FindEnd(special);
    if (end == nullptr) {
        return nullptr;
    }
    const auto most = static_cast<std::size_t>(end - p);
    if (most <= kLongestBlockText) {
        // Decoded in place: no text is longer than its escaped form.
        char* const text = blocks.Room(most + kStep);
        char* const textEnd = Decode(p, end, text);
        if (textEnd == nullptr) {
            return nullptr;
        }
        const auto length = static_cast<std::size_t>(textEnd - text);
        if (length <= kInlineText) {
            SetInlineText(slot, text, length);
        } else {
            FinishText(text, length, slot, blocks);
        }
        return end + 1;
    }
    decoded_.resize(most + kStep);
    const char* const textEnd = Decode(p, end, decoded_.data());
    if (textEnd == nullptr) {
        return nullptr;
    }
    SetText(slot, {decoded_.data(), static_cast<std::size_t>(textEnd - decoded_.data())}, blocks);
    return end + 1;
}

const char* StringReader::ReadLongName(const char* p, Key& key) {
    const char* const special = Find(p);
    const char* const end = FindEnd(special);
    if (end == nullptr) {
        return nullptr;
    }
    if (end == special) {
        key = Key({p, static_cast<std::size_t>(end - p)});
        return end + 1;
    }
    std::string& name = names_.emplace_front(static_cast<std::size_t>(end - p + kStep), '\0');
    const char* const nameEnd = Decode(p, end, name.data());
    if (nameEnd == nullptr) {
        return nullptr;
    }
    key = Key({name.data(), static_cast<std::size_t>(nameEnd - name.data())});
    if (!key.IsLong()) {
        names_.pop_front();
    }
    return end + 1;
}

// Decodes up to the closing quote at `end`. Returns the end of the text, or null. There is room for
// one step behind the longest text.
char* StringReader::Decode(const char* p, const char* end, char* to) const noexcept {
    while (p != end) {
        if (*p != '\\') {
            if (end - p >= kStep) {
                const __m128i bytes = Load(p);
                Store(to, bytes);
                const unsigned specials = Specials(bytes);
                const auto plain =
                    specials != 0 ? std::countr_zero(specials) : static_cast<int>(kStep);
                p += plain;
                to += plain;
            } else {
                *to++ = *p++;
            }
            continue;
        }
        if (p[1] == 'u') {
            p += 2;
            const unsigned codePoint = ReadCodePoint(p, end);
            if (codePoint == 0) {
                return nullptr;
            }
            to = EncodeUtf8(codePoint, to);
            continue;
        }
        const char plain = DecodeEscape(p[1]);
        if (plain == '\0') {
            return nullptr;
        }
        *to++ = plain;
        p += 2;
    }
    return to;
}

}  // namespace ZelJSON
