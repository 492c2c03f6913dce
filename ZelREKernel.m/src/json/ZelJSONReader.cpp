#include "ZelREKernel/json/ZelJSONReader.h"

#include <cstring>
#include <iterator>
#include <string_view>

#include "json/JSONStrictParser.h"

static_assert(ZelJSONReader::kDeepestNesting == ZelJSON::kDeepestNesting);

ZelJSONReader::~ZelJSONReader() = default;

bool ZelJSONReader::Parse(const std::string& document, ZelJSONValue& root) {
    nodes_.clear();
    levels_.clear();
    ZelJSONValue value;
    if (ZelJSON::ParseStrictly(document, value.slot_)) {
        root = std::move(value);
        return true;
    }
    documents_.push_back({document, errors_.size()});
    current_ = documents_.back().text.data();
    end_ = current_ + document.size();
    nodes_.push_back(&root);
    const bool succeeded = ReadValue();
    Token token;
    do {
        ReadToken(token);
    } while (allowComments_ && token.type == commentToken);
    nodes_.clear();
    if (errors_.size() == documents_.back().errorsBefore) {
        current_ = end_ = nullptr;
        documents_.pop_back();
    }
    return succeeded;
}

const std::string& ZelJSONReader::GetErrorDocument(std::size_t index) const noexcept {
    auto at = std::prev(documents_.end());
    while (at->errorsBefore > index) {
        --at;
    }
    return at->text;
}

void ZelJSONReader::SkipSpaces() noexcept {
    while (current_ != end_ &&
           (*current_ == ' ' || *current_ == '\t' || *current_ == '\n' || *current_ == '\r')) {
        ++current_;
    }
}

// ---- tokens

bool ZelJSONReader::ReadToken(Token& token) noexcept {
    SkipSpaces();
    token.start = current_;
    bool matched = true;
    switch (GetNextChar()) {
        case '\0':
            token.type = endOfInput;
            break;
        case '{':
            token.type = objectOpen;
            break;
        case '}':
            token.type = objectClose;
            break;
        case '[':
            token.type = arrayOpen;
            break;
        case ']':
            token.type = arrayClose;
            break;
        case ',':
            token.type = commaToken;
            break;
        case ':':
            token.type = colonToken;
            break;
        case '"':
            token.type = stringToken;
            matched = ReadString();
            break;
        case '-':
        case '0':
        case '1':
        case '2':
        case '3':
        case '4':
        case '5':
        case '6':
        case '7':
        case '8':
        case '9':
            token.type = numberToken;
            ReadNumber();
            break;
        case '/':
            token.type = commentToken;
            matched = ReadComment();
            break;
        case 't':
            token.type = trueToken;
            matched = MatchPattern("rue", 3);
            break;
        case 'f':
            token.type = falseToken;
            matched = MatchPattern("alse", 4);
            break;
        case 'n':
            token.type = nullToken;
            matched = MatchPattern("ull", 3);
            break;
        case 'I':
            token.type = numberToken;
            matched = MatchPattern("nfinity", 7);
            break;
        case 'N':
            token.type = numberToken;
            matched = MatchPattern("aN", 2);
            break;
        default:
            matched = false;
    }
    if (!matched) {
        token.type = errorToken;
    }
    token.end = current_;
    return true;
}

void ZelJSONReader::SkipCommentAndReadToken(Token& token) noexcept {
    do {
        ReadToken(token);
    } while (token.type == commentToken);
}

bool ZelJSONReader::MatchPattern(const char* pattern, int length) noexcept {
    if (end_ - current_ < length ||
        std::memcmp(current_, pattern, static_cast<std::size_t>(length)) != 0) {
        return false;
    }
    current_ += length;
    return true;
}

bool ZelJSONReader::ReadString() noexcept {
    while (current_ != end_) {
        const char c = GetNextChar();
        if (c == '\\') {
            GetNextChar();
        } else if (c == '"') {
            return true;
        }
    }
    return false;
}

void ZelJSONReader::ReadNumber() noexcept {
    if (MatchPattern("Infinity", 8)) {
        return;
    }
    constexpr std::string_view kParts = "0123456789+-.eE";
    while (current_ != end_ && kParts.find(*current_) != std::string_view::npos) {
        ++current_;
    }
}

bool ZelJSONReader::ReadComment() noexcept {
    switch (GetNextChar()) {
        case '*':
            return ReadMultiLineComment();
        case '/':
            ReadSingleLineComment();
            return true;
        default:
            return false;
    }
}

void ZelJSONReader::ReadSingleLineComment() noexcept {
    while (current_ != end_) {
        const char c = GetNextChar();
        if (c == '\r' || c == '\n') {
            return;
        }
    }
}

bool ZelJSONReader::ReadMultiLineComment() noexcept {
    while (current_ != end_) {
        if (GetNextChar() == '*' && current_ != end_ && *current_ == '/') {
            ++current_;
            return true;
        }
    }
    return false;
}

// ---- values

// Open containers are levels of a stack of their own: what is nested deeply costs memory.
bool ZelJSONReader::ReadValue() {
    EProgress progress = BeginValue();
    while (!levels_.empty()) {
        Level& level = levels_.back();
        const TokenType close = level.open == objectOpen ? objectClose : arrayClose;
        if (progress != eOpened) {
            nodes_.pop_back();
        }
        Token token;
        if (progress == eFailed) {
            progress = EndContainer(RecoverFromError(close));
        } else {
            progress = level.open == objectOpen ? ReadObject(token) : ReadArray(token);
        }
    }
    return progress == eDone;
}

// Reads a scalar, or opens a container.
ZelJSONReader::EProgress ZelJSONReader::BeginValue() {
    Token token;
    do {
        ReadToken(token);
    } while (allowComments_ && token.type == commentToken);
    switch (token.type) {
        case objectOpen:
        case arrayOpen:
            return BeginContainer(token);
        case stringToken:
            return DecodeString(token) ? eDone : eFailed;
        case numberToken:
            return DecodeNumber(token) ? eDone : eFailed;
        case trueToken:
            GetCurrentValue() = ZelJSONValue(true);
            return eDone;
        case falseToken:
            GetCurrentValue() = ZelJSONValue(false);
            return eDone;
        case nullToken:
            GetCurrentValue() = ZelJSONValue();
            return eDone;
        default:
            AddError("Syntax error: value, object or array expected.", token, current_);
            return eFailed;
    }
}

ZelJSONReader::EProgress ZelJSONReader::BeginContainer(Token& token) {
    if (levels_.size() == kDeepestNesting) {
        AddError("Arrays and objects are nested too deeply.", token, current_);
        return eFailed;
    }
    GetCurrentValue() = ZelJSONValue(token.type == objectOpen ? ZelJSONValue::objectValue
                                                              : ZelJSONValue::arrayValue);
    levels_.emplace_back().open = token.type;
    return eOpened;
}

ZelJSONReader::EProgress ZelJSONReader::EndContainer(bool succeeded) noexcept {
    levels_.pop_back();
    return succeeded ? eDone : eFailed;
}

// Goes on behind "{" or behind a member's value.
ZelJSONReader::EProgress ZelJSONReader::ReadObject(Token& token) {
    Level& level = levels_.back();
    if (level.begun) {
        ReadToken(token);
        if (token.type != objectClose && token.type != commaToken && token.type != commentToken) {
            return EndContainer(
                AddErrorAndRecover("Missing ',' or '}' in object declaration", token, objectClose));
        }
        if (token.type == commentToken) {
            SkipCommentAndReadToken(token);
        }
        if (token.type == objectClose) {
            return EndContainer(true);
        }
    }
    SkipCommentAndReadToken(token);
    // An empty last name passes for none, so a comma may end the object after such a member.
    if (token.type == objectClose && level.name.empty()) {
        return EndContainer(true);
    }
    return BeginMember(level, token);
}

ZelJSONReader::EProgress ZelJSONReader::BeginMember(Level& level, Token& token) {
    if (token.type != stringToken) {
        return EndContainer(
            AddErrorAndRecover("Missing '}' or object member name", token, objectClose));
    }
    level.name.clear();
    if (!DecodeString(token, level.name)) {
        return EndContainer(RecoverFromError(objectClose));
    }
    Token colon;
    ReadToken(colon);
    if (colon.type != colonToken) {
        return EndContainer(
            AddErrorAndRecover("Missing ':' after object member name", colon, objectClose));
    }
    level.begun = true;
    nodes_.push_back(&GetCurrentValue()[level.name]);
    return BeginValue();
}

// Goes on behind "[" or behind an element.
ZelJSONReader::EProgress ZelJSONReader::ReadArray(Token& token) {
    Level& level = levels_.back();
    if (level.begun) {
        if (!ReadToken(token)) {
            return EndContainer(
                AddErrorAndRecover("Missing ',' or ']' in array declaration", token, arrayClose));
        }
        if (token.type == commentToken) {
            SkipCommentAndReadToken(token);
        }
        // Any other token passes for the separator.
        if (token.type == arrayClose) {
            return EndContainer(true);
        }
    } else {
        SkipSpaces();
        if (current_ != end_ && *current_ == ']') {
            ReadToken(token);
            return EndContainer(true);
        }
    }
    level.begun = true;
    nodes_.push_back(&GetCurrentValue()[level.index++]);
    return BeginValue();
}

// ---- errors

bool ZelJSONReader::AddError(const std::string& message, const Token& token, iterator position) {
    errors_.push_back({token, message, position});
    return false;
}

bool ZelJSONReader::AddErrorAndRecover(const std::string& message, const Token& token,
                                       TokenType skipUntil) {
    AddError(message, token, current_);
    return RecoverFromError(skipUntil);
}

bool ZelJSONReader::RecoverFromError(TokenType skipUntil) {
    const std::size_t errors = errors_.size();
    Token token;
    do {
        ReadToken(token);
    } while (token.type != skipUntil && token.type != endOfInput);
    errors_.resize(errors);
    return false;
}
