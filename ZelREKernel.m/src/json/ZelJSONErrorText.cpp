#include "ZelREKernel/json/ZelJSONErrorText.h"

#include <algorithm>

namespace {

constexpr std::size_t kWidth = 72;

// The bytes of UTF-8 behind a sequence's first one.
bool Continues(char c) noexcept {
    return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

std::size_t CountCharacters(const char* first, const char* last) noexcept {
    return static_cast<std::size_t>(
        std::count_if(first, last, [](char c) { return !Continues(c); }));
}

bool EndsLine(char c) noexcept {
    return c == '\n' || c == '\r';
}

const char* StepBack(const char* at, const char* first, std::size_t characters) noexcept {
    while (at != first && characters > 0) {
        --at;
        characters -= Continues(*at) ? 0u : 1u;
    }
    return at;
}

// At most `characters` of the line from `first` on.
std::string Printable(const char* first, const char* last, std::size_t characters) {
    std::string text;
    for (; first != last && !EndsLine(*first); ++first) {
        if (!Continues(*first) && characters-- == 0) {
            break;
        }
        const auto byte = static_cast<unsigned char>(*first);
        text += byte < 0x20 || byte == 0x7F ? '?' : *first;
    }
    return text;
}

}  // namespace

ZelJSONErrorPlace ZelJSONLocateError(const ZelJSONReader& reader, std::size_t index) {
    const std::string& document = reader.GetErrorDocument(index);
    const char* const end = document.data() + document.size();
    const char* const error = reader.GetErrorList()[index].token.start;
    ZelJSONErrorPlace place;
    const char* line = document.data();
    for (const char* at = line; at != error; ++at) {
        const bool half = *at == '\r' && at + 1 != end && at[1] == '\n';
        if (EndsLine(*at) && !half) {
            ++place.line;
            line = at + 1;
        }
    }
    place.column = CountCharacters(line, error) + 1;
    const char* const first = StepBack(error, line, kWidth / 2);
    place.caret = CountCharacters(first, error);
    place.excerpt = Printable(first, end, kWidth);
    return place;
}

std::string ZelJSONErrorText(const ZelJSONReader& reader, std::size_t index) {
    const ZelJSONErrorPlace place = ZelJSONLocateError(reader, index);
    std::string text = std::to_string(place.line) + ":" + std::to_string(place.column) + ": " +
                       reader.GetErrorList()[index].message + "\n";
    text += place.excerpt + "\n" + std::string(place.caret, ' ') + "^";
    return text;
}
