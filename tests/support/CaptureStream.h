#pragma once

// Sends standard output (1) or standard error (2) of this process into a file while it lives, below
// stdio, so that raw writes to the descriptor are caught as well.

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <iostream>
#include <stdexcept>
#include <string>

#include "support/TempDir.h"

namespace test {

class CaptureStream {
public:
    explicit CaptureStream(int descriptor) : descriptor_(descriptor) {
        Flush();
        const int file = open(FileName().c_str(), O_CREAT | O_TRUNC | O_RDWR | O_APPEND, 0600);
        saved_ = dup(descriptor_);
        if (file < 0 || saved_ < 0 || dup2(file, descriptor_) < 0) {
            throw std::runtime_error("cannot capture the stream");
        }
        close(file);
    }
    ~CaptureStream() {
        Flush();
        dup2(saved_, descriptor_);
        close(saved_);
    }
    CaptureStream(const CaptureStream&) = delete;
    CaptureStream& operator=(const CaptureStream&) = delete;

    // Everything written so far.
    std::string Text() const {
        Flush();
        return ReadText(FileName());
    }

private:
    std::string FileName() const { return directory_.File("stream"); }
    static void Flush() {
        std::cout.flush();
        std::fflush(nullptr);
    }

    TempDir directory_;
    int descriptor_;
    int saved_ = -1;
};

}  // namespace test
