#pragma once

// Where a writer puts its text: pieces of memory that never move, the first one inside the sink,
// joined into one string at the end. The most that is held is twice the text, whatever its size.

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "json/QuotedText.h"

namespace ZelJSON {

class TextSink {
public:
    // The most to ask for at once.
    static constexpr std::size_t kLargestRoom = 8192;

    TextSink() noexcept : cursor_(first_), begin_(first_), end_(first_ + sizeof first_) {}
    TextSink(const TextSink&) = delete;
    TextSink& operator=(const TextSink&) = delete;

    // Room for `size` bytes in a row. Write from there and pass the end of what was written to
    // Advance. Throws std::bad_alloc.
    char* Room(std::size_t size) {
        if (static_cast<std::size_t>(end_ - cursor_) < size) [[unlikely]] {
            Grow();
        }
        return cursor_;
    }
    void Advance(char* end) noexcept { cursor_ = end; }

    // The text between double quotes and escaped, of any length.
    void PutQuoted(const char* text, std::size_t length);

    // The same for at most 15 bytes in a place of 16 that may all be read.
    void PutShortQuoted(const char* text, std::size_t length) {
        char* out = Room(EscapedRoom(15) + 2);
        *out++ = '"';
        out = PutShortEscaped(out, text, length);
        *out++ = '"';
        Advance(out);
    }

    // Everything written. The sink is of no more use.
    std::string Take();

private:
    struct Piece {
        std::unique_ptr<char[]> bytes;
        std::size_t used;
    };

    void Grow();
    std::size_t InPiece() const noexcept { return static_cast<std::size_t>(cursor_ - begin_); }

    char* cursor_;
    char* begin_;
    char* end_;
    std::size_t usedOfFirst_ = 0;
    std::size_t usedOfFull_ = 0;  // of all but the current piece
    std::vector<Piece> pieces_;
    char first_[1024];
};

}  // namespace ZelJSON
