#include "core/LastLines.h"

namespace ZKL {
namespace {

constinit LastLines s_channels[kLogChannels] = {
    LastLines("Default"),    LastLines("DrawCall"), LastLines("Profiling"), LastLines("Rufx"),
    LastLines("AbendTrace"), LastLines("XCTOrrin"), LastLines("Pipelining")};

}  // namespace

LastLines& LastLinesOf(std::size_t channel) {
    return s_channels[channel];
}

std::string_view LastLines::Read(Copy& copy) const {
    const std::size_t total = total_.load(std::memory_order_acquire);
    const std::size_t size = std::min(total, kBytes);
    const std::size_t at = (total - size) % kBytes;
    std::memcpy(copy, text_ + at, size - std::min(size, at));
    std::memcpy(copy + (size - std::min(size, at)), text_, std::min(size, at));
    std::string_view text(copy, size);
    if (total > kBytes) {
        // The oldest line has lost its beginning.
        text.remove_prefix(std::min(text.find('\n') + 1, text.size()));
    }
    return text;
}

}  // namespace ZKL
