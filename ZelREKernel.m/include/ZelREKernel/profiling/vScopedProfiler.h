#pragma once

// Records the time from its construction to its destruction as a slice of the calling thread.
//
//     static const std::uint32_t s_name = ZKL::vProfiler::RegisterName("Transform");
//     const ZKL::vScopedProfiler scope(s_name);
//
// While the profiler is off it costs a load and a branch. A scope that began while the profiler was
// on always records its end, one that began while it was off records nothing, so slices nest
// exactly.
//
// An object belongs to the thread that made it; objects of one thread end in reverse order.

#include <cstdint>

#include "ZelREKernel/profiling/vProfiler.h"

namespace ZKL {

class vScopedProfiler {
public:
    // A slice named by a handle of vProfiler::RegisterName, without an argument.
    explicit vScopedProfiler(std::uint32_t nameId,
                             std::uint32_t categoryId = vProfiler::kDefaultCategory) noexcept
        : nameId_(nameId),
          categoryId_(categoryId),
          isOpen_(vProfiler::IsEnabled() && vProfiler::BeginScope(nameId, categoryId)) {}

    // With an argument that the viewer shows beside the slice. `text` must live until the trace is
    // written; vProfiler::LookUpName(vProfiler::RegisterName(text)) is a copy that does. With kNone
    // as the argument's name the text must be a complete JSON object, and is then the slice's
    // arguments.
    vScopedProfiler(std::uint32_t nameId, std::uint32_t argNameId, const char* text,
                    std::uint32_t categoryId = vProfiler::kDefaultCategory) noexcept
        : nameId_(nameId),
          categoryId_(categoryId),
          isOpen_(vProfiler::IsEnabled() &&
                  vProfiler::BeginScope(nameId, categoryId, argNameId, vTraceRecord::eArgText,
                                        {.text = text})) {}

    // With a number as argument, under the name `argNameId`.
    vScopedProfiler(std::uint32_t nameId, std::uint32_t argNameId, std::uint32_t number,
                    std::uint32_t categoryId = vProfiler::kDefaultCategory) noexcept
        : nameId_(nameId),
          categoryId_(categoryId),
          isOpen_(vProfiler::IsEnabled() &&
                  vProfiler::BeginScope(nameId, categoryId, argNameId, vTraceRecord::eArgNumber,
                                        {.number = number})) {}

    ~vScopedProfiler() {
        if (isOpen_) {
            vProfiler::EndScope(nameId_, categoryId_);
        }
    }

    vScopedProfiler(const vScopedProfiler&) = delete;
    vScopedProfiler& operator=(const vScopedProfiler&) = delete;

private:
    std::uint32_t nameId_;
    std::uint32_t categoryId_;
    bool isOpen_;
};

}  // namespace ZKL
