#pragma once

// Writes pictures while the next frames are rendered: the encoding runs in a slot of the kernel's
// task manager. Save and Finish are for one thread at a time.

#include <atomic>
#include <cstdint>
#include <mutex>
#include <span>
#include <string>

#include "ZelREKernel/base/vSlimLock.h"

namespace frame {

class PictureWriter {
public:
    PictureWriter(std::uint32_t width, std::uint32_t height) : width_(width), height_(height) {}

    // Copies the pixels and returns; waits first when too many pictures are on their way.
    void Save(const std::string& path, std::span<const std::uint8_t> pixels);
    // Waits until all pictures are written. False, with one line in `error`, when one failed since
    // the last call.
    bool Finish(std::string& error);

private:
    static constexpr std::uint32_t kMostUnderWay = 4;

    void Report(const std::string& error);

    const std::uint32_t width_;
    const std::uint32_t height_;
    std::atomic<std::uint32_t> underWay_{0};
    ZKL::vSlimLock lock_;
    std::string firstError_;
};

}  // namespace frame
