// Any text into Unstream, and then every operation on what came of it.

#include "ZelREKernel/memory/vBestFitAllocator.h"

#include <cstdlib>
#include <sstream>
#include <string>

namespace {

using Allocator = ZKL::vBestFitAllocator;

class Client final : public Allocator::vMemoryManager {
public:
    bool AllocateLargePage(const Allocator::Address&, std::uint64_t, std::uint64_t) override {
        return true;
    }
    bool AllocatePage(std::uint64_t, std::uint64_t) override { return true; }
    bool ReleasePage(std::uint64_t page, std::uint64_t) override { return page % 2 == 0; }
    bool BeginDefragment(std::uint64_t) override { return true; }
    void MoveBlocks(const Allocator::Address&, const Allocator::Address&, std::uint64_t,
                    const Allocator::Block*, std::uint32_t) override {}
    void EndDefragment() override {}
};

void Demand(bool holds) {
    if (!holds) {
        std::abort();
    }
}

std::string Text(const Allocator& allocator) {
    std::ostringstream out;
    allocator.Stream(out);
    return out.str();
}

void FreeOnePerPage(Allocator& allocator) {
    for (std::uint64_t page = 0; page < allocator.GetNumPages(); ++page) {
        for (std::uint64_t i = 0; i < allocator.GetNumBlocks(page); ++i) {
            const Allocator::Block block = allocator.GetBlock(page, i);
            if (block.userData != Allocator::kFree) {
                allocator.Free({block.offset, page}, 1);
                break;
            }
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Client client;
    Allocator allocator(0, &client);
    std::istringstream in(std::string(reinterpret_cast<const char*>(data), size));
    allocator.Unstream(in);
    const bool valid = allocator.Validate();
    const std::string text = Text(allocator);
    std::istringstream again(text);
    Allocator copy;
    copy.Unstream(again);
    Demand(again && Text(copy) == text && copy.Validate() == valid);
    for (const std::uint64_t bytes : {1U, 7U, 100U, 5000U}) {
        allocator.Alloc(bytes, bytes, bytes % 2 == 0, bytes == 100);
        FreeOnePerPage(allocator);
    }
    allocator.Defragment();
    allocator.FreeupPages();
    static_cast<void>(allocator.GetFragmentation());
    Demand(!valid || allocator.Validate());
    return 0;
}
