#pragma once

// The process-wide maker of shared blocks of bytes. Clients ask it instead of the heap, so that a
// cache with a store behind it can take its place.
//
// GetInstance and Open may be called from any thread.

#include <cstdint>

#include "ZelREKernel/ZelREKernelExport.h"
#include "ZelREKernel/asyncio/vCacheData.h"
#include "ZelREKernel/core/vSmartPtr.h"

namespace ZKL {

class ZELREKERNEL_EXPORT vDataCacheManager {
public:
    vDataCacheManager() noexcept;
    vDataCacheManager(const vDataCacheManager&) = delete;
    ~vDataCacheManager();
    vDataCacheManager& operator=(const vDataCacheManager&) noexcept = default;

    // Made by the first call; it belongs to this library, which destroys it when it is unloaded.
    static vDataCacheManager& GetInstance();

    // A new block of `size` zero bytes, whose only owner is the pointer returned. Empty when there
    // is no memory for the object; throws std::bad_alloc or std::length_error when there is none
    // for its bytes. O(size)
    vSmartPtr<vCacheData> Open(std::uint64_t size);

private:
    void* reserved_;  // for a cache with a store; null
};

static_assert(sizeof(vDataCacheManager) == sizeof(void*));

}  // namespace ZKL
