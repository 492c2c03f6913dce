#include "GpuPages.h"

GpuPages::GpuPages(Gpu& gpu, VkDeviceSize pageSize) : gpu_(gpu) {
    scratch_ = {gpu_.AllocateMemory(pageSize, false), gpu_.CreateBuffer(pageSize)};
    gpu_.Bind(scratch_.whole, scratch_.memory, 0);
    alignment_ = gpu_.Requirements(scratch_.whole).alignment;
}

GpuPages::~GpuPages() {
    while (!buffers.empty()) {
        Remove(buffers.begin()->first);
    }
    pages_[~std::uint64_t{0}] = scratch_;
    for (const auto& [index, page] : pages_) {
        gpu_.DestroyBuffer(page.whole);
        gpu_.FreeMemory(page.memory);
    }
}

void GpuPages::Place(std::uint64_t tag, VkDeviceSize size, Address address) {
    VkBuffer buffer = gpu_.CreateBuffer(size);
    const VkMemoryRequirements requirements = gpu_.Requirements(buffer);
    if (requirements.alignment > alignment_ || requirements.size > size) {
        throw std::runtime_error("a buffer needs more than was allocated for it");
    }
    gpu_.Bind(buffer, pages_.at(address.page).memory, address.offset);
    buffers[tag] = {buffer, size, address};
}

void GpuPages::Remove(std::uint64_t tag) {
    gpu_.DestroyBuffer(buffers.at(tag).buffer);
    buffers.erase(tag);
}

bool GpuPages::AllocateLargePage(const Address& address, std::uint64_t size, std::uint64_t) {
    return AllocatePage(address.page, size);
}

bool GpuPages::AllocatePage(std::uint64_t page, std::uint64_t size) {
    VkDeviceMemory memory = gpu_.AllocateMemory(size, false);
    if (memory == VK_NULL_HANDLE) {
        return false;
    }
    pages_[page] = {memory, gpu_.CreateBuffer(size)};
    gpu_.Bind(pages_[page].whole, memory, 0);
    return true;
}

bool GpuPages::ReleasePage(std::uint64_t page, std::uint64_t) {
    gpu_.Run();  // copies out of this page may still wait
    gpu_.DestroyBuffer(pages_.at(page).whole);
    gpu_.FreeMemory(pages_.at(page).memory);
    pages_.erase(page);
    return true;
}

bool GpuPages::BeginDefragment(std::uint64_t freeBlockCount) {
    return freeBlockCount != 0;
}

void GpuPages::MoveBlocks(const Address& to, const Address& from, std::uint64_t size,
                          const Block* blocks, std::uint32_t count) {
    VkBuffer source = pages_.at(from.page).whole;
    VkBuffer target = pages_.at(to.page).whole;
    if (to.page == from.page && to.offset + size > from.offset) {
        gpu_.Copy(source, from.offset, scratch_.whole, 0, size);
        gpu_.Copy(scratch_.whole, 0, target, to.offset, size);
    } else {
        gpu_.Copy(source, from.offset, target, to.offset, size);
    }
    for (std::uint32_t i = 0; i < count; ++i) {
        const Buffer old = buffers.at(blocks[i].userData);
        Remove(blocks[i].userData);
        Place(blocks[i].userData, old.size,
              {to.offset + (blocks[i].offset - from.offset), to.page});
    }
    movedBlocks += count;
    movedBytes += size;
}

void GpuPages::EndDefragment() {
    gpu_.Run();
}
