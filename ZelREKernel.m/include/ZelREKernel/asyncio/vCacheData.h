#pragma once

// A shared, resizable block of bytes, as the data cache hands it out. Here it lives in memory; the
// interface is what a cache with a store behind it would offer as well.
//
// A block is not locked: its users see to it that one thread at a time uses it. The pointers to it
// are those of vSmartPtr.

#include <cstdint>
#include <vector>

#include "ZelREKernel/core/vSmartPtrObject.h"

namespace ZKL {

class ZELREKERNEL_EXPORT vCacheData : public vSmartPtrObject {
public:
    vCacheData() noexcept = default;
    ~vCacheData() override;

    // In bytes.
    virtual std::uint64_t GetSize() const;
    // Keeps the bytes up to `size`; those that are new are zero. Always true. Invalidates what
    // GetData gave. Throws std::bad_alloc or std::length_error, leaving the block as it was.
    // O(size)
    virtual bool Resize(std::uint64_t size);
    // The bytes from `offset` on, GetSize() - offset of them; null at the end and past it. They
    // belong to the block and stay where they are until Resize or the last strong pointer goes.
    virtual std::uint8_t* GetData(std::uint64_t offset);
    // Nothing to do for a block in memory.
    virtual void Flush();

private:
    std::vector<std::uint8_t> data_;
};

}  // namespace ZKL
