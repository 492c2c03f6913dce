#pragma once

// One event of the profiler, as it is kept until it is written: fixed in size, so that recording is
// a store into a slot and never an allocation.
//
// A plain value: whoever owns it says which thread may touch it.

#include <cstdint>

namespace ZKL {

struct vTraceRecord {
    // No category, no argument name, no flow; also the handle of no name.
    static constexpr std::uint32_t kNone = 0xFFFFFFFFu;

    // Which member of `value` counts.
    enum EArgKind : std::uint32_t {
        eArgText = 0,
        eArgNumber = 1,
        // Any other value means no argument as well.
        eArgNone = 2
    };

    // The argument.
    union Value {
        const char* text;      // zero-terminated; not owned, must live until the record is written
        std::uint32_t number;  // written as decimal digits
    };

    std::uint32_t categoryId = kNone;  // handles of vProfiler::RegisterName, these three
    std::uint32_t nameId = kNone;      // kNone: the event has no name
    std::uint32_t argNameId = kNone;   // kNone: a text is a whole JSON object
    Value value = {nullptr};           // the argument, as argKind says
    std::int64_t timestamp = 0;        // whole microseconds
    std::uint32_t pid = 0;             // the event's process field; metadata keeps its value here
    std::uint32_t tid = 0;             // the profiler's own index of the thread
    std::uint32_t flowId = kNone;      // the flow that the event belongs to
    std::uint32_t argKind = eArgNone;  // an EArgKind
    char phase = 'i';                  // of the trace event format, such as 'B', 'E', 's'
};

static_assert(sizeof(vTraceRecord) == 56);

}  // namespace ZKL
