#include "JsonText.h"

#include <algorithm>

#include "common/Printable.h"

namespace trace {

void AppendQuoted(std::string& out, std::string_view text) {
    constexpr std::string_view kHex = "0123456789abcdef";
    out += '"';
    while (!text.empty()) {
        const std::size_t length = tools::CharacterLength(text);
        const auto byte = static_cast<unsigned char>(text[0]);
        const bool isPlain = byte >= 0x20 && byte != 0x7F && text[0] != '"' && text[0] != '\\' &&
                             text[0] != '<' && text[0] != '>' && text[0] != '&';
        if (length == 0) {
            out += '?';
        } else if (isPlain) {
            out += text.substr(0, length);
        } else {
            out += "\\u00";
            out += kHex[byte >> 4];
            out += kHex[byte & 15];
        }
        text.remove_prefix(std::max<std::size_t>(length, 1));
    }
    out += '"';
}

void AppendMicroseconds(std::string& out, std::int64_t nanoseconds) {
    if (nanoseconds < 0) {
        out += '-';
        nanoseconds = -nanoseconds;
    }
    AppendNumber(out, nanoseconds / 1000);
    if (const std::int64_t rest = nanoseconds % 1000; rest != 0) {
        char digits[4] = {'.', static_cast<char>('0' + rest / 100),
                          static_cast<char>('0' + rest / 10 % 10),
                          static_cast<char>('0' + rest % 10)};
        std::string_view text(digits, sizeof(digits));
        out += text.substr(0, text.find_last_not_of('0') + 1);
    }
}

}  // namespace trace
