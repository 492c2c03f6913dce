#include "memory/ChunkPool.h"

#include <new>

namespace ZKL {

void ChunkPool::Give(void* piece) noexcept {
    first_ = new (piece) Spare{first_};
    ++spares_;
}

void ChunkPool::Delete(void* piece) noexcept {
    ::operator delete(piece);
}

bool ChunkPool::Grow(std::size_t count) noexcept {
    while (spares_ < count) {
        void* const piece = ::operator new(kBytes, std::nothrow);
        if (piece == nullptr) {
            return false;
        }
        Give(piece);
    }
    return true;
}

}  // namespace ZKL
