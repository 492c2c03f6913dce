// The best-fit allocator at its real work: pages of device memory, a few thousand buffers bound to
// the addresses that it returns, holes, compaction and evacuation by copies on the device, and at
// the end every buffer read back. Exit code 77 where there is no device.

#include <algorithm>
#include <cstring>
#include <exception>
#include <iostream>
#include <random>
#include <vector>

#include "GpuPages.h"

namespace {

constexpr VkDeviceSize kPage = 4U << 20;
constexpr std::uint64_t kBuffers = 4000;

// Bytes that no other buffer has.
std::uint32_t Word(std::uint64_t tag, std::uint64_t index) {
    return static_cast<std::uint32_t>((tag + 1) * 2654435761U + index * 40503U);
}

// Moves bytes between the processor and the buffers, a window at a time.
class Staging {
public:
    explicit Staging(Gpu& gpu)
        : gpu_(gpu), memory_(gpu.AllocateMemory(kPage, true)), buffer_(gpu.CreateBuffer(kPage)) {
        gpu_.Bind(buffer_, memory_, 0);
        bytes_ = gpu_.Map(memory_);
    }
    ~Staging() {
        gpu_.DestroyBuffer(buffer_);
        gpu_.FreeMemory(memory_);
    }
    Staging(const Staging&) = delete;
    Staging& operator=(const Staging&) = delete;

    void Fill(std::uint64_t tag, const GpuPages::Buffer& target) {
        for (VkDeviceSize done = 0; done < target.size; done += kPage) {
            const VkDeviceSize size = std::min(kPage, target.size - done);
            for (VkDeviceSize i = 0; i < size; i += 4) {
                const std::uint32_t word = Word(tag, done + i);
                std::memcpy(bytes_ + i, &word, 4);
            }
            gpu_.Copy(buffer_, 0, target.buffer, done, size);
            gpu_.Run();
        }
    }
    bool IsIntact(std::uint64_t tag, const GpuPages::Buffer& source) {
        bool intact = true;
        for (VkDeviceSize done = 0; done < source.size; done += kPage) {
            const VkDeviceSize size = std::min(kPage, source.size - done);
            gpu_.Copy(source.buffer, done, buffer_, 0, size);
            gpu_.Run();
            for (VkDeviceSize i = 0; i < size; i += 4) {
                const std::uint32_t word = Word(tag, done + i);
                intact = intact && std::memcmp(bytes_ + i, &word, 4) == 0;
            }
        }
        return intact;
    }

private:
    Gpu& gpu_;
    VkDeviceMemory memory_;
    VkBuffer buffer_;
    unsigned char* bytes_ = nullptr;
};

class Scene {
public:
    explicit Scene(Gpu& gpu)
        : pages_(gpu, kPage), staging_(gpu), allocator_(kPage, &pages_), random_(7) {}

    void Add(std::uint64_t bytes) {
        const VkDeviceSize unit = pages_.Alignment();
        const VkDeviceSize size = (bytes + unit - 1) / unit * unit;
        const std::uint64_t tag = next_++;
        const auto address = allocator_.Alloc(size, tag, false, false);
        if (address == ZKL::vBestFitAllocator::kInvalidAlloc) {
            throw std::runtime_error("the device has no memory left");
        }
        pages_.Place(tag, size, address);
        staging_.Fill(tag, pages_.buffers.at(tag));
    }
    void AddSome(std::uint64_t count) {
        for (std::uint64_t i = 0; i < count; ++i) {
            Add(256U << random_() % 7 | random_() % 256);
        }
    }
    // Every other buffer on average: a level of detail goes, for example.
    void RemoveHalf() {
        std::vector<std::uint64_t> tags;
        for (const auto& [tag, buffer] : pages_.buffers) {
            if (random_() % 2 == 0) {
                tags.push_back(tag);
            }
        }
        for (const std::uint64_t tag : tags) {
            const auto address = pages_.buffers.at(tag).address;
            pages_.Remove(tag);
            allocator_.Free(address, 1);
        }
    }
    void Defragment() { allocator_.Defragment(); }
    std::uint64_t FreeupPages() { return allocator_.FreeupPages(); }
    std::uint64_t CountIntact() {
        std::uint64_t intact = 0;
        for (const auto& [tag, buffer] : pages_.buffers) {
            intact += staging_.IsIntact(tag, buffer) ? 1U : 0U;
        }
        return intact;
    }
    void Print(const char* when) const {
        std::cout << when << ": " << pages_.buffers.size() << " buffers on "
                  << allocator_.GetNumActivePages() << " pages, fragmentation "
                  << allocator_.GetFragmentation() << ", moved " << pages_.movedBlocks
                  << " buffers, " << pages_.movedBytes << " bytes\n";
    }
    std::size_t Count() const { return pages_.buffers.size(); }

private:
    GpuPages pages_;
    Staging staging_;
    ZKL::vBestFitAllocator allocator_;
    std::mt19937 random_;
    std::uint64_t next_ = 0;
};

// Whether every buffer was intact.
bool Run(int* complaints) {
    Gpu gpu(complaints);
    std::cout << gpu.Name()
              << (gpu.IsValidated() ? ", with the validation layer\n"
                                    : ", without a validation layer: its silence proves nothing\n");
    Scene scene(gpu);
    scene.Add(kPage + 4096);  // a page of its own
    scene.AddSome(kBuffers);
    scene.Print("filled");
    scene.RemoveHalf();
    scene.AddSome(kBuffers / 4);
    scene.RemoveHalf();
    scene.Print("with holes");
    scene.Defragment();
    scene.Print("compacted");
    const std::uint64_t emptied = scene.FreeupPages();
    scene.AddSome(kBuffers / 4);
    scene.Defragment();
    scene.Print("evacuated and refilled");
    const std::uint64_t count = scene.CountIntact();
    std::cout << emptied << " pages emptied, " << count << " of " << scene.Count()
              << " buffers intact\n";
    return count == scene.Count();
}

}  // namespace

int main() {
    try {
        int complaints = 0;  // those about what was left behind come with the device's end
        const bool intact = Run(&complaints);
        std::cout << complaints << " complaints of the validation layer\n";
        return intact && complaints == 0 ? 0 : 1;
    } catch (const NoDevice& reason) {
        std::cout << "skipped: " << reason.what() << "\n";
        return 77;
    } catch (const std::exception& failure) {
        std::cerr << failure.what() << "\n";
        return 1;
    }
}
