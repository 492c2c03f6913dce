#pragma once

// Equal pieces of memory for the nodes of sorted lists. What an operation may need is reserved
// before it changes anything; from there on it cannot fail. One thread at a time.

#include <cstddef>

namespace ZKL {

class ChunkPool {
public:
    static constexpr std::size_t kBytes = 1048;
    static constexpr std::size_t kKept = 64;  // spares that are worth keeping between operations

    ChunkPool() noexcept = default;
    ChunkPool(const ChunkPool&) = delete;
    ChunkPool& operator=(const ChunkPool&) = delete;
    ~ChunkPool() { Trim(0); }

    // Makes the next `count` calls of Take succeed. False without memory, with what could be had
    // kept for later.
    bool Reserve(std::size_t count) noexcept { return count <= spares_ || Grow(count); }
    // A piece that was reserved; the caller owns it until Give, or until it hands it to Delete.
    void* Take() noexcept {
        Spare* const taken = first_;
        first_ = taken->next;
        --spares_;
        return taken;
    }
    void Give(void* piece) noexcept;
    // Gives memory back until at most `keep` pieces are spare.
    void Trim(std::size_t keep) noexcept {
        while (spares_ > keep) {
            Delete(Take());
        }
    }

    static void Delete(void* piece) noexcept;

private:
    struct Spare {
        Spare* next;
    };

    bool Grow(std::size_t count) noexcept;

    Spare* first_ = nullptr;
    std::size_t spares_ = 0;
};

}  // namespace ZKL
