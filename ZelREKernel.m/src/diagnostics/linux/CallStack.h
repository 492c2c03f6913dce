#pragma once

// The frames of a stack, and their names.

#include <cstddef>
#include <cstdint>

#include "diagnostics/linux/Fault.h"

namespace ZKL {

struct CallStack {
    static constexpr std::size_t kMostFrames = 256;

    // A function that calls itself over and over is one frame.
    struct Frame {
        std::uintptr_t address;
        std::size_t times;  // in a row
    };

    // Frames of the calling thread, which must be inside the handler of `fault`, from the one that
    // it hit outwards. Stops where the stack makes no sense. Safe in a signal handler.
    void Collect(const Fault& fault);
    // Writes one line a frame to `file`: number, address, function, source file and line, or module
    // and offset where symbols are missing, and "(N times)" where it repeats. Safe in a signal
    // handler; what breaks on the way breaks in a helper process.
    void Write(int file) const;

    Frame frames[kMostFrames];
    std::size_t count = 0;
};

}  // namespace ZKL
