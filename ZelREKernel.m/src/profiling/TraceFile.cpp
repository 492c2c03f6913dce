#include "profiling/TraceFile.h"

namespace ZKL {

bool TraceFile::Open(const std::filesystem::path& directory,
                     const vGoogleTracer::Options& options) {
    options_ = options;
    using std::ios_base;
    if (!file_.open(directory / "profiling.js",
                    ios_base::out | ios_base::trunc | ios_base::binary)) {
        return false;
    }
    vGoogleTracer::BeginFile();
    vGoogleTracer::WriteOpening(_GetSink(), options_);
    EndBatch();
    return true;
}

void TraceFile::BeginBatch() {
    file_.pubseekpos(end_, std::ios_base::out);
}

void TraceFile::Write(std::span<const vTraceRecord> records) {
    vGoogleTracer::WriteRecords(records.data(), records.size(), _GetSink(), options_);
}

void TraceFile::EndBatch() {
    end_ = file_.pubseekoff(0, std::ios_base::cur, std::ios_base::out);
    vGoogleTracer::WriteClosing(_GetSink(), options_);
    file_.pubsync();
}

vGoogleTracer::Sink TraceFile::_GetSink() noexcept {
    return {.write =
                [](void* context, const char* text, std::size_t length) {
                    static_cast<std::filebuf*>(context)->sputn(
                        text, static_cast<std::streamsize>(length));
                },
            .context = &file_};
}

}  // namespace ZKL
