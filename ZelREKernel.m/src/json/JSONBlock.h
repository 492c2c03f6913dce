#pragma once

// Memory for JSON trees. What a reader or a deep copy makes lies in blocks of up to 64 KiB, filled
// from the front; a block counts what lives in it and goes back to the allocator with the last of
// it. So a parsed document costs few allocations, and any part of it may outlive the rest. What is
// added piece by piece is allocated piece by piece.
//
// The count is atomic: parts of one block may end up in trees of different threads.

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace ZelJSON {

// From the default allocator, at a multiple of 16. Throws std::bad_alloc.
void* Allocate(std::size_t size);
void Free(void* p) noexcept;

struct alignas(16) Block {
    static constexpr std::size_t kLargest = 65536;
    static constexpr std::size_t kUnit = 16;

    std::atomic<std::uint32_t> live;

    // The block of `p`, which lies `units` units (rounded down) behind its start.
    static Block* Of(const void* p, std::uint32_t units) noexcept {
        return reinterpret_cast<Block*>((reinterpret_cast<std::uintptr_t>(p) & ~(kUnit - 1)) -
                                        units * kUnit);
    }
    // Gives back `count` pieces.
    void Release(std::uint32_t count) noexcept;
};

// Fills blocks. A piece handed out counts as live until Block::Release.
class BlockWriter {
public:
    // `expected`: the bytes that will be asked for, as far as that is known.
    explicit BlockWriter(std::size_t expected) noexcept;
    BlockWriter(const BlockWriter&) = delete;
    BlockWriter& operator=(const BlockWriter&) = delete;
    ~BlockWriter() { Close(); }

    // The largest piece; ask the allocator for what is larger.
    static constexpr std::size_t kLargestPiece = Block::kLargest / 8;

    // `size` bytes at a multiple of 8. Throws std::bad_alloc.
    void* Piece(std::size_t size) {
        cursor_ += -reinterpret_cast<std::uintptr_t>(cursor_) & 7;
        return Text(size);
    }
    // `size` bytes anywhere.
    char* Text(std::size_t size) {
        char* const text = Room(size);
        Take(text + size);
        return text;
    }
    // Room for `size` bytes at the cursor, not yet taken. Throws std::bad_alloc.
    char* Room(std::size_t size) {
        if (cursor_ > end_ || static_cast<std::size_t>(end_ - cursor_) < size) [[unlikely]] {
            Open(size);
        }
        return cursor_;
    }
    // Takes the room up to `end` as one piece.
    void Take(char* end) noexcept {
        cursor_ = end;
        ++count_;
    }

    // How far a piece of the current block lies behind its start.
    std::uint32_t Units(const void* piece) const noexcept {
        return static_cast<std::uint32_t>(
            (reinterpret_cast<std::uintptr_t>(piece) - reinterpret_cast<std::uintptr_t>(block_)) /
            Block::kUnit);
    }

private:
    void Open(std::size_t size);
    void Close() noexcept;

    Block* block_ = nullptr;
    char* cursor_ = nullptr;
    char* end_ = nullptr;
    std::uint32_t count_ = 0;
    std::size_t next_;
};

}  // namespace ZelJSON
