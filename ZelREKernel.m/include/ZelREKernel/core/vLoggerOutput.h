#pragma once

// Where a logger's text goes: the console, a file, the crash report or a TCP viewer.
//
// Outputs are reference-counted, since the background flusher holds on to them while text is
// queued. Every function may be called from any thread. No output reports an error: what cannot be
// written is lost.

#include <atomic>
#include <cstdint>
#include <string>

#include "ZelREKernel/ZelREKernelExport.h"

namespace ZKL {

class ZELREKERNEL_EXPORT vLoggerOutput {
public:
    // Makes an output with one reference, which is the caller's:
    //   "stdout", "stderr"  the stream, or the debugger while one is attached to the process;
    //   "network"           a TCP listener on port 4666 that serves one viewer at a time;
    //   "abendTrace"        a section of the host's crash report, shared by all such outputs;
    //   anything else       the file of that path. The first output of the process on a path starts
    //                       the file afresh, later ones append. A file that cannot be opened is
    //                       replaced by the standard output.
    // Null when memory is exhausted, or for a null name (reported as the caller's mistake).
    static vLoggerOutput* Create(const char* name);

    vLoggerOutput(const vLoggerOutput&) = delete;
    vLoggerOutput& operator=(const vLoggerOutput&) = delete;

    // Takes a reference beside one that the caller holds.
    void AddRef() noexcept;
    // Drops a reference; the last one deletes the output.
    void Release() noexcept;

    // Writes and flushes the text. A null text is reported as the caller's mistake.
    virtual void Write(const char* text) = 0;
    virtual void Write(const std::string& text) = 0;

protected:
    vLoggerOutput() = default;
    virtual ~vLoggerOutput();

private:
    std::atomic<std::int32_t> references_{1};
};

static_assert(sizeof(vLoggerOutput) == 2 * sizeof(void*));

}  // namespace ZKL
