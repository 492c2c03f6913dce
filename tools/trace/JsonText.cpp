#include "JsonText.h"

namespace trace {

void AppendQuoted(std::string& out, std::string_view text) {
    constexpr std::string_view kHex = "0123456789abcdef";
    out += '"';
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        const bool isPlain = byte >= 0x20 && byte != 0x7F && character != '"' &&
                             character != '\\' && character != '<' && character != '>' &&
                             character != '&';
        if (isPlain) {
            out += character;
        } else {
            out += "\\u00";
            out += kHex[byte >> 4];
            out += kHex[byte & 15];
        }
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
