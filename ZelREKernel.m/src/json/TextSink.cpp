#include "json/TextSink.h"

#include <algorithm>
#include <cstring>

namespace ZelJSON {
namespace {

// Pieces double up to a size that still fits into a cache.
constexpr std::size_t kSmallestPiece = 2 * TextSink::kLargestRoom;
constexpr std::size_t kDoublings = 4;
// So much of a text is escaped at once.
constexpr std::size_t kStep = TextSink::kLargestRoom / 2 - 32;
static_assert(EscapedRoom(kStep) + 2 <= TextSink::kLargestRoom);

}  // namespace

void TextSink::Grow() {
    const std::size_t size = kSmallestPiece << std::min(pieces_.size(), kDoublings);
    pieces_.push_back({std::make_unique_for_overwrite<char[]>(size), 0});
    (pieces_.size() == 1 ? usedOfFirst_ : pieces_[pieces_.size() - 2].used) = InPiece();
    usedOfFull_ += InPiece();
    begin_ = cursor_ = pieces_.back().bytes.get();
    end_ = begin_ + size;
}

void TextSink::PutQuoted(const char* text, std::size_t length) {
    if (length > kStep) {
        length = strnlen(text, length);  // no step may find the end that the next one does not know
    }
    char* out = Room(EscapedRoom(std::min(length, kStep)) + 2);
    *out++ = '"';
    for (; length > kStep; text += kStep, length -= kStep) {
        Advance(PutEscaped(out, text, kStep));
        out = Room(EscapedRoom(kStep) + 1);
    }
    out = PutEscaped(out, text, length);
    *out++ = '"';
    Advance(out);
}

std::string TextSink::Take() {
    std::string text;
    text.reserve(usedOfFull_ + InPiece());
    (pieces_.empty() ? usedOfFirst_ : pieces_.back().used) = InPiece();
    text.append(first_, usedOfFirst_);
    for (Piece& piece : pieces_) {
        text.append(piece.bytes.get(), piece.used);
        piece.bytes.reset();
    }
    return text;
}

}  // namespace ZelJSON
