#include "Story.h"

#include <ostream>
#include <random>
#include <unordered_map>
#include <vector>

#include "ZelREKernel/memory/vBestFitAllocator.h"

namespace {

using Allocator = ZKL::vBestFitAllocator;

// Has no bytes to move, but follows where the blocks go.
class Addresses final : public Allocator::vMemoryManager {
public:
    bool AllocateLargePage(const Allocator::Address&, std::uint64_t, std::uint64_t) override {
        return true;
    }
    bool AllocatePage(std::uint64_t, std::uint64_t) override { return true; }
    bool ReleasePage(std::uint64_t, std::uint64_t) override { return true; }
    bool BeginDefragment(std::uint64_t) override { return true; }
    void MoveBlocks(const Allocator::Address& to, const Allocator::Address& from, std::uint64_t,
                    const Allocator::Block* blocks, std::uint32_t count) override {
        for (std::uint32_t i = 0; i < count; ++i) {
            of[blocks[i].userData] = {to.offset + (blocks[i].offset - from.offset), to.page};
        }
    }
    void EndDefragment() override {}

    std::unordered_map<std::uint64_t, Allocator::Address> of;  // by tag
};

class Level {
public:
    explicit Level(std::ostream& out) : out_(out) {}

    void Load(int blocks) {
        for (int i = 0; i < blocks; ++i) {
            const std::uint64_t size = (1024U << random_() % 7) + random_() % 1024;
            addresses_.of[next_] = allocator_.Alloc(size, next_, false, false);
            live_.push_back(next_++);
            Snapshot(i);
        }
    }
    void Unload(int blocks) {
        for (int i = 0; i < blocks && !live_.empty(); ++i) {
            std::swap(live_[random_() % live_.size()], live_.back());
            allocator_.Free(addresses_.of.at(live_.back()), 1);
            live_.pop_back();
            Snapshot(i);
        }
    }
    void Compact() {
        allocator_.Defragment();
        allocator_.Stream(out_);
    }
    void Evacuate() {
        allocator_.FreeupPages();
        allocator_.Stream(out_);
    }

private:
    void Snapshot(int step) {
        if (step % 8 == 0) {
            allocator_.Stream(out_);
        }
    }

    std::ostream& out_;
    Addresses addresses_;
    Allocator allocator_{1U << 20, &addresses_};
    std::vector<std::uint64_t> live_;
    std::uint64_t next_ = 0;
    std::mt19937 random_{7};
};

}  // namespace

void TellStory(std::ostream& out) {
    Level level(out);
    level.Load(400);
    level.Unload(260);
    level.Load(60);
    level.Compact();
    level.Unload(60);
    level.Evacuate();
    level.Load(40);
}
