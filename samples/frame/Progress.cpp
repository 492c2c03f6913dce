#include "Progress.h"

#include <cinttypes>
#include <cstdio>
#include <string>

#include "Host.h"

namespace frame {

Progress::Progress(std::uint32_t frames) : frames_(frames), isShown_(IsErrorStreamTerminal()) {}

Progress::~Progress() {
    if (isShown_) {
        std::fputc('\n', stderr);
    }
}

void Progress::Show(std::uint32_t done) {
    if (!isShown_) {
        return;
    }
    constexpr std::uint64_t kCells = 40;
    const std::size_t filled = static_cast<std::size_t>(kCells * done / frames_);
    const std::string bar = std::string(filled, '#') + std::string(kCells - filled, '.');
    const double seconds = start_.GetElapsedTime() / 1000.0;
    std::fprintf(stderr, "\r[%s] frame %" PRIu32 "/%" PRIu32 "  %.1f fps ", bar.c_str(), done,
                 frames_, seconds > 0.0 ? done / seconds : 0.0);
    std::fflush(stderr);
}

}  // namespace frame
