// Best fit: addresses in pages of memory that the allocator never touches, such as a graphics
// device's. It asks its client for pages, and to move bytes when it makes room.
#include <cinttypes>
#include <cstdio>

#include <ZelREKernel/ZelREKernel.h>

namespace {

using Allocator = ZKL::vBestFitAllocator;

// A client that has a device would allocate and copy where this one only tells.
class Device final : public Allocator::vMemoryManager {
public:
    bool AllocateLargePage(const Allocator::Address& at, std::uint64_t size,
                           std::uint64_t) override {
        return AllocatePage(at.page, size);
    }
    bool AllocatePage(std::uint64_t page, std::uint64_t size) override {
        std::printf("page %" PRIu64 " of %" PRIu64 " bytes\n", page, size);
        return true;
    }
    bool ReleasePage(std::uint64_t page, std::uint64_t) override {
        std::printf("page %" PRIu64 " is free\n", page);
        return true;
    }
    bool BeginDefragment(std::uint64_t) override { return true; }
    void MoveBlocks(const Allocator::Address& to, const Allocator::Address& from,
                    std::uint64_t size, const Allocator::Block*, std::uint32_t count) override {
        std::printf("move %" PRIu32 " block(s), %" PRIu64 " bytes, from %" PRIu64 " to %" PRIu64
                    "\n",
                    count, size, from.offset, to.offset);
    }
    void EndDefragment() override {}
};

}  // namespace

int main() {
    Device device;
    Allocator buffers(1024, &device);

    const auto mesh = buffers.Alloc(300, 1, false, false);
    const auto texture = buffers.Alloc(200, 2, false, false);
    buffers.Alloc(100, 3, false, false);
    buffers.Free(mesh, 1);
    const auto fits = buffers.Alloc(250, 4, false, false);
    std::printf("250 bytes went to %" PRIu64 ", where they fit best\n", fits.offset);
    buffers.Free(fits, 1);
    buffers.Free(texture, 1);
    std::printf("fragmentation %.2f\n", static_cast<double>(buffers.GetFragmentation()));
    buffers.Defragment();
    std::printf("largest free block %" PRIu64 "\n", buffers.GetMaxFreeSize());
    return 0;
}
