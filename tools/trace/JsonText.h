#pragma once

// JSON text that may stand inside an HTML script element. ZelJSONWriter makes documents for other
// programs; this text must also be free of "<", and is mostly long rows of numbers.

#include <charconv>
#include <cstdint>
#include <string>
#include <string_view>

namespace trace {

// Between double quotes; whatever is not plain in JSON or HTML becomes a \u escape, and bytes that
// are no UTF-8 question marks.
void AppendQuoted(std::string& out, std::string_view text);

// Nanoseconds as microseconds, without zeros at the end.
void AppendMicroseconds(std::string& out, std::int64_t nanoseconds);

// A whole number, or a finite fraction.
template <typename Number>
void AppendNumber(std::string& out, Number number) {
    char digits[32];
    out.append(digits, std::to_chars(digits, digits + sizeof(digits), number).ptr);
}

// "name": [ each element as `append` writes it, joined by commas ]
template <typename Elements, typename Append>
void AppendArray(std::string& out, std::string_view name, const Elements& elements, Append append) {
    AppendQuoted(out, name);
    out += ":[";
    bool isFirst = true;
    for (const auto& element : elements) {
        if (!isFirst) {
            out += ',';
        }
        isFirst = false;
        append(element);
    }
    out += ']';
}

}  // namespace trace
