#pragma once

#include <cstdio>
#include <string>
#include <string_view>

#include "core/TextLoggerOutput.h"

namespace ZKL {

// Writes to a standard stream or to a file of its own. On a standard stream the text goes to the
// debugger instead while one is attached.
class StreamLoggerOutput final : public TextLoggerOutput {
public:
    explicit StreamLoggerOutput(std::FILE* stream) : stream_(stream) {}
    // Opens the file: afresh for the first output of the process on this path, else to append.
    explicit StreamLoggerOutput(const std::string& path);

    // False when the file could not be opened; then the output must not be written to.
    bool IsOpen() const { return stream_ != nullptr; }

private:
    ~StreamLoggerOutput() override;

    void WriteText(std::string_view text) override;

    std::FILE* stream_ = nullptr;
    bool ownsFile_ = false;
};

}  // namespace ZKL
