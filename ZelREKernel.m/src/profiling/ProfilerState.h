#pragma once

// What the whole profiler shares: its clock, its names, the records of all threads, the metadata.
//
// Every function is safe from any thread.

#include <cstdint>
#include <forward_list>
#include <memory>
#include <vector>

#include "ZelREKernel/base/vSlimLock.h"
#include "ZelREKernel/base/vTimer.h"
#include "base/LibraryEnd.h"
#include "base/ThreadSlot.h"
#include "profiling/NameTable.h"
#include "profiling/ThreadRecords.h"

namespace ZKL {

class ProfilerState {
public:
    // Made when the library is loaded, gone when it is unloaded.
    static ProfilerState& Get();

    ~ProfilerState();
    ProfilerState(const ProfilerState&) = delete;
    ProfilerState& operator=(const ProfilerState&) = delete;

    NameTable& GetNames() noexcept { return names_; }
    const vTimer& GetTimer() const noexcept { return timer_; }
    std::int64_t GetOrigin() const noexcept {
        return timer_.LastSampled().time_since_epoch().count();
    }

    // Records for a thread that has none: those of a thread that ended, else new ones. They are the
    // thread's until it ends. Null when there is no memory.
    ThreadRecords* Adopt(std::uint32_t threadIndex) noexcept;
    // The records of all threads that ever recorded; they live as long as this. Throws
    // std::bad_alloc.
    std::vector<ThreadRecords*> GetAllRecords();

    // A copy that lives as long as this. Throws std::bad_alloc.
    const char* KeepText(const char* text);
    // Throws std::bad_alloc.
    void AddMetaData(const vTraceRecord& record);
    // Copies up to `count` metadata records from number `first` on; returns how many.
    std::size_t CopyMetaData(std::size_t first, vTraceRecord* out, std::size_t count) noexcept;
    bool HasMetaData(std::uint32_t nameId) noexcept;

private:
    template <typename T>
    friend class UntilUnload;

    ProfilerState();

    static void _OnThreadExit(void* records) noexcept;

    vTimer timer_;
    NameTable names_;

    vSlimLock registryLock_;
    ThreadRecords* firstRecords_ = nullptr;
    ThreadSlot slot_;

    vSlimLock textLock_;
    std::forward_list<std::unique_ptr<char[]>> texts_;
    vSlimLock metaDataLock_;
    std::vector<vTraceRecord> metaData_;
};

}  // namespace ZKL
