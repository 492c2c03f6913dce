#pragma once

// Writes trace records as text in the trace event format (Google, "Trace Event Format", 2016),
// which Chromium's trace viewer, Perfetto and speedscope read.
//
// Text is formatted into a buffer of 8 KiB on the stack, without an allocation, and handed to a
// sink in chunks. One batch is written at a time in a process: whether an event is the first of its
// file, and so has no comma before it, is a flag of the process.

#include <cstddef>
#include <cstdint>

#include "ZelREKernel/ZelREKernelExport.h"
#include "ZelREKernel/profiling/vTraceRecord.h"

namespace ZKL {

class ZELREKERNEL_EXPORT vGoogleTracer {
public:
    // Where chunks go; `length` may be 0. Called with the name table locked, so it registers no
    // names. Failures are its own affair.
    struct Sink {
        // Takes `length` bytes of `text`, which go when it returns.
        void (*write)(void* context, const char* text, std::size_t length);
        void* context;  // the first argument of `write`, which knows what it is
    };

    // How a file is written; the same for all of it.
    struct Options {
        std::int64_t startTime = 0;  // microseconds, subtracted from every record's timestamp
        bool isScrambled = false;    // by CypherXOR
        std::uint32_t key = 0;       // of the scrambling
    };

    // The longest chunk that can be scrambled.
    static constexpr std::size_t kMaxChunk = 8192;
    // A buffer that holds more than this after an event is written out.
    static constexpr std::size_t kChunkThreshold = 7680;

    // Calls the next event the first one of its file.
    static void BeginFile() noexcept;

    // Write the opening and the closing text of a file; scrambled, it is padded with blanks to
    // whole words:
    static void WriteOpening(const Sink& sink, const Options& options) noexcept;
    static void WriteClosing(const Sink& sink, const Options& options) noexcept;

    // Writes `count` records in order, with the name table locked throughout. Names and texts are
    // not escaped. A scrambled chunk is padded with blanks to whole words; one that would pass
    // kMaxChunk, which takes an event of more than 512 bytes, fails the assertion "length <=
    // iMaxLength" and is dropped. Unscrambled events have no limit. O(count) and the length of the
    // texts.
    static void WriteRecords(const vTraceRecord* records, std::size_t count, const Sink& sink,
                             const Options& options) noexcept;
};

}  // namespace ZKL
