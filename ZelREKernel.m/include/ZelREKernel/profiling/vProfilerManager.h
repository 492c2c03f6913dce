#pragma once

// Turns the profiler on and off and writes what it recorded to the trace file "profiling.js".
//
//     ZKL::vProfilerManager& manager = ZKL::vProfilerManager::CreateInstance();
//     manager.SetTraceDirectory("/tmp");
//     manager.TurnOn();
//     ...
//     manager.FlushProfiler();
//
// All functions are safe from any thread, except that nobody may use the instance during or after
// DestroyInstance. Recording goes on on all threads while one flushes.

#include <cstdint>
#include <memory>

#include "ZelREKernel/ZelREKernelExport.h"

namespace ZKL {

class ZELREKERNEL_EXPORT vProfilerManager {
public:
    // How the text of a trace file is scrambled.
    enum EEncryptionMode : std::uint32_t {
        eEncryptionNone = 0,
        eEncryptionXOR = 1  // with vZeloProfilerUtil::kKey
    };

    // The one instance, made by the first call of either. Throws std::bad_alloc:
    static vProfilerManager& CreateInstance();
    static vProfilerManager& GetInstance();
    // Turns the profiler off, flushes what is left if a trace file is open, and closes it. Without
    // an instance nothing happens. Done at the library's unloading too. Names stay registered.
    static void DestroyInstance() noexcept;

    vProfilerManager(const vProfilerManager&) = delete;
    vProfilerManager& operator=(const vProfilerManager&) = delete;

    // Take effect for scopes and events that begin after it; open scopes still record their ends:
    void TurnOn() noexcept;
    void TurnOff() noexcept;

    // The process's name in the traces; "Application" until it is set.
    void SetProcessName(const char* name) noexcept;

    // Directory (UTF-8, must exist) of the trace file; the working directory until it is set.
    // Closes the trace file that is open: what is recorded from then on goes to a new one.
    void SetTraceDirectory(const char* directory);
    // How trace files are written that are opened from now on; not the one that is open.
    void SetEncryptionMode(EEncryptionMode mode) noexcept;

    // Writes all that was recorded since the last flush. The first flush opens "profiling.js" in
    // the trace directory, replacing a file of that name, and later ones add to it; after each the
    // file is a complete JSON text. False, with all records kept for the next flush, when the file
    // cannot be opened or there is no memory; what happens to the file while it is written is not
    // checked. Records stay in memory until a flush: a long run flushes now and then. While the
    // profiler is on, the trace shows the flush itself by the instants "StartFlushProfiler" and
    // "EndFlushProfiler".
    bool FlushProfiler() noexcept;
    // Flushes no more to the file that is open; the next flush begins a new one.
    void CloseTrace() noexcept;

private:
    class Trace;

    vProfilerManager();
    ~vProfilerManager();

    std::unique_ptr<Trace> trace_;
};

}  // namespace ZKL
