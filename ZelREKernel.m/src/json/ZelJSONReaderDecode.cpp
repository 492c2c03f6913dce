// The strings and numbers of ZelJSONReader.

#include "ZelREKernel/json/ZelJSONReader.h"
#include "json/JSONNumber.h"
#include "json/JSONStringReader.h"

bool ZelJSONReader::DecodeString(Token& token) {
    std::string text;
    if (!DecodeString(token, text)) {
        return false;
    }
    GetCurrentValue() = ZelJSONValue(text);
    return true;
}

bool ZelJSONReader::DecodeString(Token& token, std::string& text) {
    text.reserve(static_cast<std::size_t>(token.end - token.start - 2));
    iterator current = token.start + 1;
    const iterator end = token.end - 1;
    while (current != end) {
        const char c = *current++;
        if (c == '"') {
            break;
        }
        if (c != '\\') {
            text += c;
            continue;
        }
        if (current == end) {
            return AddError("Empty escape sequence in string", token, current_);
        }
        const char letter = *current++;
        if (letter == 'u') {
            unsigned int codePoint;
            if (!DecodeUnicodeCodePoint(token, current, end, codePoint)) {
                return false;
            }
            char utf8[4];
            text.append(utf8, ZelJSON::EncodeUtf8(codePoint, utf8));
        } else if (const char plain = ZelJSON::DecodeEscape(letter)) {
            text += plain;
        } else {
            return AddError("Bad escape sequence in string", token, current_);
        }
    }
    return true;
}

bool ZelJSONReader::DecodeUnicodeCodePoint(Token& token, iterator& current, iterator end,
                                           unsigned int& codePoint) {
    if (!DecodeUnicodeEscapeSequence(token, current, end, codePoint)) {
        return false;
    }
    if (codePoint < 0xD800 || codePoint > 0xDBFF) {
        return true;
    }
    if (end - current < 6) {
        return AddError("additional six characters expected to parse unicode surrogate pair.",
                        token, current_);
    }
    if (current[0] != '\\' || current[1] != 'u') {
        return AddError(
            "expecting another \\u token to begin the second half of a unicode surrogate pair",
            token, current_);
    }
    current += 2;
    unsigned int second;
    if (!DecodeUnicodeEscapeSequence(token, current, end, second)) {
        return false;
    }
    codePoint = 0x10000 + ((codePoint & 0x3FF) << 10) + (second & 0x3FF);
    return true;
}

bool ZelJSONReader::DecodeUnicodeEscapeSequence(Token& token, iterator& current, iterator end,
                                                unsigned int& codePoint) {
    if (end - current < 4) {
        return AddError("Bad unicode escape sequence in string: four digits expected.", token,
                        current_);
    }
    if (!ZelJSON::ReadHex(current, codePoint)) {
        return AddError("Bad unicode escape sequence in string: hexadecimal digit expected.", token,
                        current_);
    }
    current += 4;
    return true;
}

bool ZelJSONReader::DecodeNumber(Token& token) {
    ZelJSONValue value;
    switch (ZelJSON::DecodeInteger(token.start, token.end, value.slot_)) {
        case ZelJSON::NumberText::eForDouble:
            return DecodeDouble(token);
        case ZelJSON::NumberText::eNoNumber:
            return AddNoNumber(token);
        default:
            GetCurrentValue() = std::move(value);
            return true;
    }
}

bool ZelJSONReader::DecodeDouble(Token& token) {
    double value;
    if (!ZelJSON::ReadDouble(token.start, token.end, value)) {
        return AddNoNumber(token);
    }
    GetCurrentValue() = ZelJSONValue(value);
    return true;
}

bool ZelJSONReader::AddNoNumber(const Token& token) {
    return AddError("'" + std::string(token.start, token.end) + "' is not a number.", token,
                    current_);
}
