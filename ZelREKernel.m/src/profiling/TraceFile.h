#pragma once

// A trace file that is a complete JSON text after each batch: the closing text is written behind
// the events at once, and the next batch begins where it stood.
//
// For one thread at a time.

#include <filesystem>
#include <fstream>
#include <span>

#include "ZelREKernel/profiling/vGoogleTracer.h"

namespace ZKL {

class TraceFile {
public:
    // Opens "profiling.js" in `directory`, replacing a file of that name. False when it cannot.
    bool Open(const std::filesystem::path& directory, const vGoogleTracer::Options& options);
    bool IsOpen() const { return file_.is_open(); }
    void Close() { file_.close(); }

    // Between BeginBatch and EndBatch the text is open-ended. Write errors are not checked.
    void BeginBatch();
    void Write(std::span<const vTraceRecord> records);
    void EndBatch();

private:
    vGoogleTracer::Sink _GetSink() noexcept;

    std::filebuf file_;
    std::streamoff end_ = 0;  // of the events
    vGoogleTracer::Options options_;
};

}  // namespace ZKL
