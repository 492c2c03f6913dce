#include "JsonText.h"

#include <algorithm>
#include <stdexcept>

#include "ZelREKernel/json/ZelJSONReader.h"

namespace frame {
namespace {

// How many bytes at `at` are one character in UTF-8; 0 when they are none.
std::size_t CharacterLength(const std::string& text, std::size_t at) {
    const auto byte = [&](std::size_t i) {
        return i < text.size() ? static_cast<unsigned char>(text[i]) : 0u;
    };
    const unsigned first = byte(at);
    if (first < 0x80) {
        return 1;
    }
    const std::size_t length = first >= 0xC2 && first < 0xE0   ? 2
                               : first >= 0xE0 && first < 0xF0 ? 3
                               : first >= 0xF0 && first < 0xF5 ? 4
                                                               : 0;
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(at + i) & 0xC0) != 0x80) {
            return 0;
        }
    }
    // Longer than needed, half of a surrogate pair, or beyond the last character.
    const unsigned second = byte(at + 1);
    const bool odd = (first == 0xE0 && second < 0xA0) || (first == 0xED && second >= 0xA0) ||
                     (first == 0xF0 && second < 0x90) || (first == 0xF4 && second >= 0x90);
    return odd ? 0 : length;
}

}  // namespace

ZelJSONValue ParseJson(const std::string& text, const std::string& prefix) {
    ZelJSONReader reader;
    ZelJSONValue value;
    if (reader.Parse(text, value)) {
        return value;
    }
    const ZelJSONReader::ErrorInfo& error = reader.GetErrorList().front();
    const char* const begin = reader.GetErrorDocument(0).data();
    const auto line = std::count(begin, error.token.start, '\n') + 1;
    throw std::runtime_error(prefix + "line " + std::to_string(line) + ": " +
                             Printable(error.message));
}

std::string Printable(const std::string& text) {
    std::string clean;
    for (std::size_t i = 0; i < text.size();) {
        const std::size_t length = CharacterLength(text, i);
        const bool control = static_cast<unsigned char>(text[i]) < 0x20 || text[i] == 0x7F;
        if (length == 0 || control) {
            clean += '?';
        } else if (text[i] == '"') {
            clean += '\'';
        } else {
            clean.append(text, i, length);
        }
        i += std::max<std::size_t>(length, 1);
    }
    return clean;
}

}  // namespace frame
