#pragma once

// Texts on their way to outputs, first in, first out.
//
// Text is copied into blocks that are used again, so that in the steady state an entry costs no
// allocation. An entry holds a reference on its output; neighbours with the same output share one.
//
// Not synchronised: the flusher swaps the filled queue out under its mutex and writes it outside.

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace ZKL {

class vLoggerOutput;

class LogQueue {
public:
    LogQueue() = default;
    // Drops the entries that are left.
    ~LogQueue();
    LogQueue(const LogQueue&) = delete;
    LogQueue& operator=(const LogQueue&) = delete;

    // Throws std::bad_alloc and leaves the queue as it was.
    void Append(std::string_view text, vLoggerOutput& output);
    // Writes each entry to its output and empties the queue. Where the system ended the thread that
    // did this, another call goes on with the text that was in hand, which may so stand there
    // twice.
    void WriteAll();
    // Not while either is being written.
    void Swap(LogQueue& other) noexcept;

    bool IsEmpty() const { return bytes_ == 0; }
    // The memory that the entries take.
    std::size_t GetBytes() const { return bytes_; }

private:
    struct Entry {
        vLoggerOutput* output;  // null: the same as the entry before
        std::size_t length;     // of the text that follows
    };

    struct Block {
        std::unique_ptr<char[]> memory;
        std::size_t capacity = 0;
        std::size_t used = 0;
    };

    Block& BlockWithRoom(std::size_t bytes);
    // Calls `visit(output, text)` for each entry in order, then empties the queue.
    template <typename Visitor>
    void Consume(Visitor visit);
    void Clear();

    std::vector<Block> blocks_;
    std::size_t filling_ = 0;      // the block that takes the next entry
    std::size_t takenBlocks_ = 0;  // by Consume, and bytes of the next
    std::size_t takenBytes_ = 0;
    std::size_t bytes_ = 0;
    vLoggerOutput* lastOutput_ = nullptr;  // of the entry appended last
    vLoggerOutput* output_ = nullptr;      // of the entry taken last
    std::string line_;                     // what is being written
};

}  // namespace ZKL
