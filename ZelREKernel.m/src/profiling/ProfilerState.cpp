#include "profiling/ProfilerState.h"

#include <algorithm>
#include <cstring>
#include <mutex>

#include "ZelREKernel/base/vMallocAllocator.h"
#include "base/LibraryEnd.h"
#include "profiling/CurrentThread.h"

namespace ZKL {
namespace {

// Built at load time, so that it outlives everything of this library that is built on first use.
[[maybe_unused]] const ProfilerState& s_early = ProfilerState::Get();

}  // namespace

ProfilerState& ProfilerState::Get() {
    static UntilUnload<ProfilerState> state;
    return *state;
}

ProfilerState::ProfilerState() : slot_([](void* records) { _OnThreadExit(records); }) {}

ProfilerState::~ProfilerState() {
    CurrentThread::Records::Set(nullptr);
    while (ThreadRecords* records = firstRecords_) {
        firstRecords_ = records->nextInRegistry;
        ThreadRecords::Delete(records);
    }
}

ThreadRecords* ProfilerState::Adopt(std::uint32_t threadIndex) noexcept {
    const std::lock_guard guard(registryLock_);
    ThreadRecords* records = firstRecords_;
    while (records && records->hasOwner) {
        records = records->nextInRegistry;
    }
    if (!records) {
        records = ThreadRecords::Create(*DefaultAllocator(), GetOrigin());
        if (!records) {
            return nullptr;
        }
        records->nextInRegistry = firstRecords_;
        firstRecords_ = records;
    }
    if (!slot_.Set(records)) {
        return nullptr;
    }
    records->hasOwner = true;
    records->Adopt(threadIndex);
    return records;
}

void ProfilerState::_OnThreadExit(void* records) noexcept {
    CurrentThread::Records::Set(nullptr);
    const std::lock_guard guard(Get().registryLock_);
    static_cast<ThreadRecords*>(records)->hasOwner = false;
}

std::vector<ThreadRecords*> ProfilerState::GetAllRecords() {
    const std::lock_guard guard(registryLock_);
    std::vector<ThreadRecords*> all;
    for (ThreadRecords* records = firstRecords_; records; records = records->nextInRegistry) {
        all.push_back(records);
    }
    return all;
}

const char* ProfilerState::KeepText(const char* text) {
    const std::size_t size = std::strlen(text) + 1;
    auto copy = std::make_unique_for_overwrite<char[]>(size);
    std::memcpy(copy.get(), text, size);
    const std::lock_guard guard(textLock_);
    texts_.push_front(std::move(copy));
    return texts_.front().get();
}

void ProfilerState::AddMetaData(const vTraceRecord& record) {
    const std::lock_guard guard(metaDataLock_);
    metaData_.push_back(record);
}

std::size_t ProfilerState::CopyMetaData(std::size_t first, vTraceRecord* out,
                                        std::size_t count) noexcept {
    const std::lock_guard guard(metaDataLock_);
    const std::size_t copied = std::min(count, metaData_.size() - first);
    std::copy_n(metaData_.begin() + static_cast<std::ptrdiff_t>(first), copied, out);
    return copied;
}

bool ProfilerState::HasMetaData(std::uint32_t nameId) noexcept {
    const std::lock_guard guard(metaDataLock_);
    return std::any_of(metaData_.begin(), metaData_.end(),
                       [=](const vTraceRecord& record) { return record.nameId == nameId; });
}

}  // namespace ZKL
