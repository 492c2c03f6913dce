#include "JsonSyntax.h"

#include <string>

#include "common/Printable.h"

namespace trace {
namespace {

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

class Syntax {
public:
    explicit Syntax(std::string_view text) : text_(text) {}

    std::size_t FindError() {
        bool isGood = Value();
        while (isGood && !open_.empty()) {
            isGood = Next();
        }
        SkipBlanks();
        return isGood && at_ == text_.size() ? std::string_view::npos : at_;
    }

private:
    // The next character; a zero, which JSON has nowhere, at the end.
    char Peek() const { return at_ < text_.size() ? text_[at_] : '\0'; }

    bool Take(char wanted) {
        const bool isThere = at_ < text_.size() && text_[at_] == wanted;
        at_ += isThere ? 1 : 0;
        return isThere;
    }

    void SkipBlanks() {
        while (Peek() == ' ' || Peek() == '\t' || Peek() == '\n' || Peek() == '\r') {
            ++at_;
        }
    }

    // A scalar, or the opening of an array or object with the first value in it.
    bool Value() {
        for (;;) {
            SkipBlanks();
            const char bracket = Peek();
            if (bracket != '{' && bracket != '[') {
                return Scalar();
            }
            ++at_;
            SkipBlanks();
            const char close = bracket == '{' ? '}' : ']';
            if (Take(close)) {
                return true;
            }
            open_ += close;
            if (bracket == '{' && !Name()) {
                return false;
            }
        }
    }

    // What comes behind a value inside an array or object.
    bool Next() {
        SkipBlanks();
        if (Take(open_.back())) {
            open_.pop_back();
            return true;
        }
        return Take(',') && (open_.back() == ']' || Name()) && Value();
    }

    bool Name() {
        SkipBlanks();
        if (!String()) {
            return false;
        }
        SkipBlanks();
        return Take(':');
    }

    bool Scalar() {
        switch (Peek()) {
            case '"':
                return String();
            case 't':
                return Word("true");
            case 'f':
                return Word("false");
            case 'n':
                return Word("null");
            default:
                return Number();
        }
    }

    bool Word(std::string_view word) {
        const bool isThere = text_.substr(at_).starts_with(word);
        at_ += isThere ? word.size() : 0;
        return isThere;
    }

    bool String() {
        if (!Take('"')) {
            return false;
        }
        while (at_ < text_.size() && static_cast<unsigned char>(Peek()) >= 0x20) {
            const std::size_t length = tools::CharacterLength(text_.substr(at_));
            const char character = text_[at_];
            at_ += length;
            if (character == '"') {
                return true;
            }
            if (length == 0 || (character == '\\' && !Escape())) {
                return false;
            }
        }
        return false;
    }

    bool Escape() {
        constexpr std::string_view kHex = "0123456789abcdefABCDEF";
        if (!Take('u')) {
            const bool isKnown = Peek() != '\0' && std::string_view("\"\\/bfnrt").find(Peek()) !=
                                                       std::string_view::npos;
            at_ += isKnown ? 1 : 0;
            return isKnown;
        }
        for (int i = 0; i < 4; ++i, ++at_) {
            if (kHex.find(Peek()) == std::string_view::npos) {
                return false;
            }
        }
        return true;
    }

    bool Digits() {
        const std::size_t begin = at_;
        while (IsDigit(Peek())) {
            ++at_;
        }
        return at_ > begin;
    }

    bool Number() {
        Take('-');
        if (!Take('0') && !Digits()) {
            return false;
        }
        if (Take('.') && !Digits()) {
            return false;
        }
        if (!Take('e') && !Take('E')) {
            return true;
        }
        if (!Take('+')) {
            Take('-');
        }
        return Digits();
    }

    std::string_view text_;
    std::size_t at_ = 0;
    std::string open_;  // the closing brackets of what is open
};

}  // namespace

std::size_t FindSyntaxError(std::string_view text) {
    return Syntax(text).FindError();
}

}  // namespace trace
