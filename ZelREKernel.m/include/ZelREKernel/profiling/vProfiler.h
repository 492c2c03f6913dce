#pragma once

// The profiler's recording side: names, thread indices, flows, and the events of a trace. Scopes
// are easier had through vScopedProfiler and vProfilerWithFlow; vProfilerManager turns recording on
// and writes the trace.
//
// Everything here is safe from any thread at any time. In the steady state an event goes into
// memory of its own thread without a lock; a lock is taken for a thread's first event, for a new
// name and for metadata. Names, and texts given as arguments, are written to the trace unescaped.
// An event for which the system has no memory is left out, never the end of a scope whose beginning
// was recorded.

#include <atomic>
#include <cstdint>

#include "ZelREKernel/ZelREKernelExport.h"
#include "ZelREKernel/profiling/vTraceRecord.h"

namespace ZKL {

class ZELREKERNEL_EXPORT vProfiler {
public:
    static constexpr std::uint32_t kNone = vTraceRecord::kNone;  // no name, argument or flow
    // The category of events that name none: "kernel".
    static constexpr std::uint32_t kDefaultCategory = 0;

    // What RecordMetaData names.
    enum EMetaData : std::uint32_t { eProcessName = 0, eThreadName = 1, eThreadSortIndex = 2 };

    vProfiler() = delete;

    // Names
    // ------------------------------------------------------------------------------------------

    // The handle of `text`, which is copied; the same text always has the same handle. Null counts
    // as the empty text. kNone when there is no memory. Takes the table's lock: keep the handle.
    static std::uint32_t RegisterName(const char* text) noexcept;
    // The text of a handle, valid while the library is loaded; empty for kNone and for a handle
    // that was never given out. Takes no lock.
    static const char* LookUpName(std::uint32_t nameId) noexcept;
    // Keeps other threads from registering names until UnlockNames. Not recursive.
    static void LockNames() noexcept;
    // On the thread that locked them.
    static void UnlockNames() noexcept;

    // Events: recorded while the profiler is on, otherwise nothing happens
    // -----------------------------

    // A counter's new value, drawn as a graph named `nameId`.
    static void RecordCounter(std::uint32_t nameId, std::uint32_t value,
                              std::uint32_t categoryId = kDefaultCategory) noexcept;
    // A point in time that the whole trace shows.
    static void RecordInstant(std::uint32_t nameId,
                              std::uint32_t categoryId = kDefaultCategory) noexcept;
    // The boundary before frame `index`: an instant event named "Frame" of category "frame".
    static void RecordFrame(std::uint32_t index) noexcept;

    // A flow is an arrow between slices, often of different threads. Each of these belongs to the
    // innermost open scope of the calling thread. A flow ends as a last step (phase 't'), because a
    // finish record ('f') would be tied to the next slice of the thread instead; a scope that is
    // known from its beginning to end a flow is better a vProfilerWithFlow:
    static void RecordFlowStart(std::uint32_t flowId) noexcept;
    static void RecordFlowStep(std::uint32_t flowId) noexcept;
    static void RecordFlowEnd(std::uint32_t flowId) noexcept;

    // Names the process or the calling thread, or places the thread among the others, in every
    // trace written from now on. Recorded whether the profiler is on or off, so that threads named
    // early have their names in a trace begun late; costs 56 bytes and the text until the library
    // is unloaded. The texts of kinds 0 and 1 are copied, another kind's must outlive the library;
    // null counts as empty. `value` is the event's process field: 0 names the process and threads
    // of all other events. Any other kind fails the assertion "Unknown Metadata Type" and records
    // an event without a name.
    static void RecordMetaData(std::uint32_t kind, const char* text, std::uint32_t value) noexcept;

    // Scopes: what vScopedProfiler calls
    // ---------------------------------------------------------------

    // Opens a slice of the calling thread. True when it was recorded: only then, and always then,
    // EndScope must follow on the same thread, after those of the scopes inside it.
    static bool BeginScope(std::uint32_t nameId, std::uint32_t categoryId) noexcept;
    // The same with an argument; `argKind` is one of vTraceRecord::EArgKind.
    static bool BeginScope(std::uint32_t nameId, std::uint32_t categoryId, std::uint32_t argNameId,
                           std::uint32_t argKind, vTraceRecord::Value value) noexcept;
    // The same for a slice that is one end of flow `flowId`, given as its argument: phase 's' for
    // the flow's start, 't' for a step, 'f' for its end.
    static bool BeginFlowScope(std::uint32_t nameId, std::uint32_t categoryId,
                               std::uint32_t argNameId, std::uint32_t flowId, char phase) noexcept;
    // Closes the slice; recorded even when the profiler was turned off meanwhile.
    static void EndScope(std::uint32_t nameId, std::uint32_t categoryId) noexcept;

    // Queries
    // ------------------------------------------------------------------------------------------

    static bool IsEnabled() noexcept {
        // Relaxed: the flag guards no data; a thread may see a change one event late.
        return s_isEnabled.load(std::memory_order_relaxed);
    }
    // The calling thread's index: the next one, from 0, when it first asks or records.
    static std::uint32_t GetThreadIndex() noexcept;
    // An identifier that no other flow of this process has had.
    static std::uint32_t NextFlowId() noexcept;

private:
    friend class vProfilerManager;

    static std::atomic<bool> s_isEnabled;
};

}  // namespace ZKL
