#pragma once

// A progress bar on standard error, when that is a terminal; silent otherwise.

#include <cstdint>

#include "ZelREKernel/base/vTimer.h"

namespace frame {

class Progress {
public:
    explicit Progress(std::uint32_t frames);
    // Leaves the cursor on a line of its own.
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void Show(std::uint32_t done);

private:
    const std::uint32_t frames_;
    const bool isShown_;
    ZKL::vTimer start_;
};

}  // namespace frame
