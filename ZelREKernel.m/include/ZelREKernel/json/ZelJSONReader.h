#pragma once

// Reads a JSON text into a ZelJSONValue. Beyond JSON it takes comments inside containers, the words
// Infinity and NaN, any separator between array elements, and text behind the value (docs/json.md
// lists all of it). Errors go to a list that lives as long as the reader; nothing is thrown but
// std::bad_alloc, after which the root holds what was built so far.
//
// A reader is used by one thread at a time.

#include <cstddef>
#include <cstdint>
#include <deque>
#include <list>
#include <string>
#include <vector>

#include "ZelREKernel/ZelREKernelExport.h"
#include "ZelREKernel/json/ZelJSONValue.h"

class ZELREKERNEL_EXPORT ZelJSONReader {
public:
    // What a token of the text is.
    enum TokenType : std::uint32_t {
        endOfInput = 0,
        objectOpen = 1,
        objectClose = 2,
        arrayOpen = 3,
        arrayClose = 4,
        stringToken = 5,
        numberToken = 6,
        trueToken = 7,
        falseToken = 8,
        nullToken = 9,
        commaToken = 10,
        colonToken = 11,
        commentToken = 12,
        errorToken = 13
    };

    // Both pointers lie in a text that the reader keeps.
    struct Token {
        TokenType type = endOfInput;
        const char* start = nullptr;
        const char* end = nullptr;  // behind the last character
    };

    // What is wrong, and where: ZelJSONErrorText tells it to people.
    struct ErrorInfo {
        Token token;                  // the one that the reader stumbled over
        std::string message;          // a sentence in English
        const char* extra = nullptr;  // the reader's position when the error was found
    };

    // Arrays and objects nested deeper than this are an error of the document.
    static constexpr std::uint32_t kDeepestNesting = 10000;

    ZelJSONReader() = default;
    ZelJSONReader(const ZelJSONReader&) = delete;
    ZelJSONReader& operator=(const ZelJSONReader&) = delete;
    ~ZelJSONReader();

    // Reads the value at the start of `document` into `root`. True when there was no error; then
    // the reader keeps nothing of the document. Otherwise `root` holds what was built up to the
    // error, and the list of errors, which earlier calls may have begun, has grown.
    bool Parse(const std::string& document, ZelJSONValue& root);

    // The errors of all parses so far, oldest first.
    const std::deque<ErrorInfo>& GetErrorList() const noexcept { return errors_; }
    // The text that the tokens of error `index`, which is in the list, point into; it lives as long
    // as the reader.
    const std::string& GetErrorDocument(std::size_t index) const noexcept;

    // Advances over spaces, tabs, line feeds and carriage returns.
    void SkipSpaces() noexcept;

private:
    using iterator = const char*;

    struct Document {
        std::string text;
        std::size_t errorsBefore;  // in the list, in front of its own
    };
    // An open array or object; its value is on the node stack.
    struct Level {
        TokenType open = arrayOpen;
        bool begun = false;       // there is an element or member already
        std::uint32_t index = 0;  // of the next element
        std::string name;         // of the last member
    };
    enum EProgress { eDone, eFailed, eOpened };

    bool ReadToken(Token& token) noexcept;
    void SkipCommentAndReadToken(Token& token) noexcept;
    bool ReadValue();
    EProgress BeginValue();
    EProgress BeginContainer(Token& token);
    EProgress ReadObject(Token& token);
    EProgress ReadArray(Token& token);
    EProgress BeginMember(Level& level, Token& token);
    EProgress EndContainer(bool succeeded) noexcept;
    void ReadNumber() noexcept;
    bool ReadString() noexcept;
    bool ReadComment() noexcept;
    void ReadSingleLineComment() noexcept;
    bool ReadMultiLineComment() noexcept;

    bool DecodeNumber(Token& token);
    bool DecodeDouble(Token& token);
    bool AddNoNumber(const Token& token);
    bool DecodeString(Token& token);
    bool DecodeString(Token& token, std::string& text);
    bool DecodeUnicodeCodePoint(Token& token, iterator& current, iterator end,
                                unsigned int& codePoint);
    bool DecodeUnicodeEscapeSequence(Token& token, iterator& current, iterator end,
                                     unsigned int& codePoint);

    bool MatchPattern(const char* pattern, int length) noexcept;
    char GetNextChar() noexcept { return current_ != end_ ? *current_++ : '\0'; }
    ZelJSONValue& GetCurrentValue() noexcept { return *nodes_.back(); }
    bool AddError(const std::string& message, const Token& token, iterator position);
    bool AddErrorAndRecover(const std::string& message, const Token& token, TokenType skipUntil);
    bool RecoverFromError(TokenType skipUntil);

    bool allowComments_ = false;
    bool strictRoot_ = false;        // nothing reads it
    std::list<Document> documents_;  // of the parses that left errors
    iterator current_ = nullptr;
    std::deque<ErrorInfo> errors_;
    std::vector<ZelJSONValue*> nodes_;

    iterator end_ = nullptr;
    std::vector<Level> levels_;
};
