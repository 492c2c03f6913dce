#include <atomic>

#include "ZelREKernel/base/vMallocAllocator.h"
#include "ZelREKernel/memory/vPageAllocator.h"
#include "memory/vDefaultPageAllocator.h"

namespace ZKL {
namespace {

// Frees the object when the library is unloaded, in case the host forgot to.
struct Holder {
    ~Holder() { delete allocator.load(); }
    std::atomic<vDefaultPageAllocator*> allocator{nullptr};
};

constinit Holder holder;

}  // namespace

vPageAllocator* DefaultPageAllocator() {
    if (vDefaultPageAllocator* existing = holder.allocator.load()) {
        return existing;
    }
    auto* const created = new vDefaultPageAllocator(DefaultAllocator());
    delete holder.allocator.exchange(created);  // of a creation that raced with this one
    return created;
}

void DestroyAllocator() {
    delete holder.allocator.exchange(nullptr);
}

}  // namespace ZKL
