#include "profiling/NameTable.h"

#include <cstring>
#include <limits>
#include <mutex>
#include <new>

#include "ZelREKernel/base/vMallocAllocator.h"

namespace ZKL {
namespace {

constexpr const char* kBuiltIn[NameTable::eBuiltInCount] = {"kernel",
                                                            "flow",
                                                            "frame",
                                                            "Frame",
                                                            "name",
                                                            "process_name",
                                                            "thread_name",
                                                            "thread_sort_index",
                                                            "StartFlushProfiler",
                                                            "EndFlushProfiler"};

void* AllocateOrThrow(std::uint64_t size) {
    void* block =
        size > std::numeric_limits<std::uint32_t>::max()
            ? nullptr
            : DefaultAllocator()->Allocate(static_cast<std::uint32_t>(size), NameTable::kBlock);
    if (!block) {
        throw std::bad_alloc();
    }
    return block;
}

char* CopyInBlocks(std::string_view text) {
    const std::uint64_t size = (text.size() / NameTable::kBlock + 1) * NameTable::kBlock;
    char* copy = static_cast<char*>(AllocateOrThrow(size));
    std::memset(copy + (size - NameTable::kBlock), 0, NameTable::kBlock);
    std::memcpy(copy, text.data(), text.size());
    return copy;
}

}  // namespace

NameTable::NameTable() {
    for (const char* text : kBuiltIn) {
        Register(text);
    }
}

NameTable::~NameTable() {
    for (const auto& [text, id] : ids_) {
        DefaultAllocator()->Free(const_cast<char*>(text.data()));
    }
    for (std::atomic<Name*>& segment : segments_) {
        DefaultAllocator()->Free(segment.load(std::memory_order_relaxed));
    }
}

std::uint32_t NameTable::Register(std::string_view text) {
    const std::lock_guard guard(*this);
    const auto known = ids_.find(text);
    return known != ids_.end() ? known->second : _Append(text);
}

std::uint32_t NameTable::_Append(std::string_view text) {
    const std::uint32_t id = count_.load(std::memory_order_relaxed);
    const std::uint32_t segment = _Segment(id);
    Name* entries = _EnsureSegment(segment);
    char* copy = CopyInBlocks(text);
    try {
        ids_.emplace(std::string_view(copy, text.size()), id);
    } catch (...) {
        DefaultAllocator()->Free(copy);
        throw;
    }
    entries[_Offset(id, segment)] = {copy, static_cast<std::uint32_t>(text.size())};
    // Release publishes the entry and its segment to LookUp.
    count_.store(id + 1, std::memory_order_release);
    return id;
}

NameTable::Name* NameTable::_EnsureSegment(std::uint32_t segment) {
    Name* entries = segments_[segment].load(std::memory_order_relaxed);
    if (!entries) {
        entries =
            static_cast<Name*>(AllocateOrThrow((std::uint64_t{kFirst} << segment) * sizeof(Name)));
        segments_[segment].store(entries, std::memory_order_relaxed);
    }
    return entries;
}

}  // namespace ZKL
