#include "ZelREKernel/json/ZelJSONWriter.h"

#include <cstring>

#include "json/NumberText.h"
#include "json/QuotedText.h"

ZelJSONWriter::~ZelJSONWriter() = default;

std::string ZelJSONWriter::ValueToString(int value) {
    return ValueToString(std::int64_t{value});
}

std::string ZelJSONWriter::ValueToString(unsigned int value) {
    return ValueToString(std::uint64_t{value});
}

std::string ZelJSONWriter::ValueToString(std::int64_t value) {
    char text[ZelJSON::kNumberRoom];
    return std::string(text, ZelJSON::PutSigned(text, value));
}

std::string ZelJSONWriter::ValueToString(std::uint64_t value) {
    char text[ZelJSON::kNumberRoom];
    return std::string(text, ZelJSON::PutUnsigned(text, value));
}

std::string ZelJSONWriter::ValueToString(bool value) {
    return value ? "true" : "false";
}

std::string ZelJSONWriter::ValueToString(double value) {
    char text[ZelJSON::kNumberRoom];
    return std::string(text, ZelJSON::PutDouble(text, value));
}

std::string ZelJSONWriter::ValueToQuotedString(const char* value) {
    const char* const text = value != nullptr ? value : "";
    const std::size_t length = std::strlen(text);
    std::string quoted;
    if (ZelJSON::NeedsNoEscape(text, length)) {
        quoted.reserve(length + 2);
        quoted += '"';
        quoted.append(text, length);
    } else {
        quoted.resize(1 + ZelJSON::EscapedRoom(length));
        quoted[0] = '"';
        const char* const end = ZelJSON::PutEscaped(quoted.data() + 1, text, length);
        quoted.resize(static_cast<std::size_t>(end - quoted.data()));
    }
    quoted += '"';
    return quoted;
}

void ZelJSONWriter::UlongLongToString(std::uint64_t value, char*& current) {
    char text[ZelJSON::kNumberRoom];
    const auto length = static_cast<std::size_t>(ZelJSON::PutUnsigned(text, value) - text);
    *--current = 0;
    current -= length;
    std::memcpy(current, text, length);
}

bool ZelJSONWriter::IsControlCharacter(char c) {
    return c >= 1 && c <= 31;
}

bool ZelJSONWriter::ContainsControlCharacter(const char* text) {
    for (; *text != 0; ++text) {
        if (IsControlCharacter(*text)) {
            return true;
        }
    }
    return false;
}
