#include "common/Printable.h"

#include <algorithm>

namespace tools {
namespace {

unsigned Byte(std::string_view text, std::size_t at) {
    return static_cast<unsigned char>(text[at]);
}

// The control characters of ASCII and those above it, U+0080 to U+009F.
bool IsControl(std::string_view character) {
    return Byte(character, 0) < 0x20 || Byte(character, 0) == 0x7F ||
           (Byte(character, 0) == 0xC2 && Byte(character, 1) < 0xA0);
}

}  // namespace

std::size_t CharacterLength(std::string_view text) {
    const unsigned first = Byte(text, 0);
    const std::size_t length = first < 0x80    ? 1
                               : first < 0xC2  ? 0
                               : first < 0xE0  ? 2
                               : first < 0xF0  ? 3
                               : first <= 0xF4 ? 4
                                               : 0;
    if (length < 2) {
        return length;
    }
    if (text.size() < length) {
        return 0;
    }
    // The second byte of some is bounded: no overlong forms, no surrogates, nothing above U+10FFFF.
    const unsigned low = first == 0xE0 ? 0xA0 : first == 0xF0 ? 0x90 : 0x80;
    const unsigned high = first == 0xED ? 0x9F : first == 0xF4 ? 0x8F : 0xBF;
    const bool isWhole =
        Byte(text, 1) >= low && Byte(text, 1) <= high &&
        std::all_of(text.begin() + 2, text.begin() + static_cast<std::ptrdiff_t>(length),
                    [](char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; });
    return isWhole ? length : 0;
}

std::string Printable(std::string_view text) {
    std::string printable;
    printable.reserve(text.size());
    while (!text.empty()) {
        const std::size_t length = CharacterLength(text);
        const std::string_view character = text.substr(0, std::max<std::size_t>(length, 1));
        if (length == 0 || IsControl(character)) {
            printable += '?';
        } else {
            printable += character;
        }
        text.remove_prefix(character.size());
    }
    return printable;
}

}  // namespace tools
