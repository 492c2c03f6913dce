#include "core/StreamLoggerOutput.h"

#include <mutex>
#include <set>

#include "core/DebuggerAttached.h"
#include "core/NativeFile.h"

namespace ZKL {
namespace {

struct OpenedFiles {
    std::mutex mutex;
    std::set<std::string> names;
};

// Built before and destroyed after whatever else in this library logs to a file.
[[gnu::init_priority(101)]] OpenedFiles s_openedFiles;

// Tries the file under the lock, so that of two outputs on a new path only one starts it afresh.
std::FILE* OpenLogFile(const std::string& path) {
    const std::lock_guard guard(s_openedFiles.mutex);
    const auto [name, isNew] = s_openedFiles.names.insert(path);
    std::FILE* const file = OpenToAppend(path, isNew);
    if (!file && isNew) {
        s_openedFiles.names.erase(name);
    }
    return file;
}

}  // namespace

StreamLoggerOutput::StreamLoggerOutput(const std::string& path)
    : stream_(OpenLogFile(path)), ownsFile_(stream_ != nullptr) {
    if (stream_) {
        // Every text is flushed at once, so a buffer would only cost a copy. Should the stream keep
        // its buffer, the flush still does its work.
        std::setvbuf(stream_, nullptr, _IONBF, 0);
    }
}

StreamLoggerOutput::~StreamLoggerOutput() {
    if (ownsFile_) {
        std::fclose(stream_);
    }
}

void StreamLoggerOutput::WriteText(std::string_view text) {
    if (!ownsFile_ && IsDebuggerAttached()) {
        SendToDebugger(text);
    } else {
        std::fwrite(text.data(), 1, text.size(), stream_);
    }
    std::fflush(stream_);
}

}  // namespace ZKL
