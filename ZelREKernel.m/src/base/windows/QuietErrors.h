#pragma once

#include <windows.h>

namespace ZKL {

// While it lives, what goes wrong on the calling thread with a damaged file or an empty drive is
// the call's failure, not a question to whoever sits before the screen.
class QuietErrors {
public:
    QuietErrors() : quiet_(SetThreadErrorMode(SEM_FAILCRITICALERRORS, &before_)) {}
    ~QuietErrors() {
        if (quiet_) {
            SetThreadErrorMode(before_, nullptr);
        }
    }
    QuietErrors(const QuietErrors&) = delete;
    QuietErrors& operator=(const QuietErrors&) = delete;

private:
    DWORD before_ = 0;
    BOOL quiet_;
};

}  // namespace ZKL
