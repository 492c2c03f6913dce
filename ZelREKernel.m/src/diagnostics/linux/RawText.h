#pragma once

// Text and files for code that runs where the heap, locks and stdio may be broken: after a fatal
// signal. Every function here is safe in a signal handler.

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace ZKL {

// A text of at most N - 1 bytes with its terminator; what does not fit is cut off.
template <std::size_t N>
class RawText {
public:
    RawText& operator+=(std::string_view text) {
        for (const char c : text) {
            if (size_ + 1 < N) {
                text_[size_++] = c;
            }
        }
        text_[size_] = '\0';
        return *this;
    }
    RawText& operator+=(std::uint64_t number) {
        char digits[20];
        std::size_t first = sizeof(digits);
        do {
            digits[--first] = static_cast<char>('0' + number % 10);
            number /= 10;
        } while (number != 0);
        return *this += std::string_view(digits + first, sizeof(digits) - first);
    }
    // With zeros in front up to `digits` digits; more are cut off.
    void AppendHexadecimal(std::uint64_t number, int digits) {
        while (--digits >= 0) {
            *this += std::string_view("0123456789abcdef").substr(number >> 4 * digits & 0xf, 1);
        }
    }
    const char* CString() const { return text_; }
    std::string_view View() const { return {text_, size_}; }

private:
    char text_[N] = {};
    std::size_t size_ = 0;
};

// Reads a file in lines, with a buffer of its own.
class RawLines {
public:
    explicit RawLines(const char* path);
    ~RawLines();
    RawLines(const RawLines&) = delete;
    RawLines& operator=(const RawLines&) = delete;

    // The next line without its line feed; false at the end or when the file cannot be read. Of a
    // line longer than the buffer the first part is returned. The view lives until the next call.
    bool Next(std::string_view& line);

private:
    int file_;
    std::size_t begin_ = 0;
    std::size_t end_ = 0;
    bool skip_ = false;  // the rest of an over-long line is still to come
    char buffer_[8192];
};

// Makes the file afresh, readable by its owner alone, in place of what had its name: an old file
// would keep its readers, and a link would lead elsewhere. `access` is O_RDWR or O_WRONLY. Negative
// when it cannot be made.
int MakePrivateFile(const char* path, int access);

// Takes a number off the front of `text`; 0 when there is none.
std::uint64_t TakeNumber(std::string_view& text, unsigned base);

}  // namespace ZKL
