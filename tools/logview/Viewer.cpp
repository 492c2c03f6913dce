#include "Viewer.h"

#include <MekHost/MekHost.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <thread>

#include "LineFilter.h"
#include "LineStream.h"

namespace logview {
namespace {

constexpr int kRetryMs = 200;

// Null when the wait is over, or when the address is none: that never gets better.
std::unique_ptr<MekSockets> Connect(const Options& options) {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point end = Clock::now() + std::chrono::milliseconds(options.waitMs);
    for (;;) {
        MekSockets* connection = nullptr;
        const std::int32_t status =
            MekSockets::Connect(options.address.c_str(), options.port, kRetryMs, &connection);
        if (status == kMekOk || status == kMekInvalidParameter) {
            return std::unique_ptr<MekSockets>(connection);
        }
        if (options.waitMs >= 0 && Clock::now() >= end) {
            return nullptr;
        }
        if (status != kMekTimeout) {
            std::this_thread::sleep_for(std::chrono::milliseconds(kRetryMs));
        }
    }
}

// What waits in the connection goes out in one write, and at once: a log is looked at while it
// runs.
bool Write(std::string& text, std::FILE* out) {
    const bool written =
        std::fwrite(text.data(), 1, text.size(), out) == text.size() && std::fflush(out) == 0;
    text.clear();
    return written;
}

enum class Ending { Closed, Lost, NobodyReads };

Ending Follow(MekSockets& connection, LineFilter& filter, std::FILE* out) {
    LineStream stream;
    std::string text;
    char bytes[16384];
    std::size_t received = 0;
    while (connection.Receive(bytes, sizeof(bytes), -1, &received) == kMekOk) {
        for (const std::string_view line : stream.Push({bytes, received})) {
            filter.Show(line, text);
        }
        if (!Write(text, out)) {
            return Ending::NobodyReads;
        }
    }
    bool ended = false;
    const std::string rest = stream.Finish(ended);
    if (!rest.empty()) {
        filter.Show(rest, text);
    }
    if (!Write(text, out)) {
        return Ending::NobodyReads;
    }
    return ended ? Ending::Closed : Ending::Lost;
}

}  // namespace

Status View(const Options& options, bool colour, std::FILE* out, std::FILE* news) {
    LineFilter filter(options.level, options.text, colour);
    for (;;) {
        const std::unique_ptr<MekSockets> connection = Connect(options);
        if (connection == nullptr) {
            std::fprintf(news, "zkl-logview: no log at %s, port %d\n", options.address.c_str(),
                         options.port);
            return kNoConnection;
        }
        const Ending ending = Follow(*connection, filter, out);
        if (ending != Ending::Lost) {
            return kClosed;
        }
        std::fprintf(news, "zkl-logview: connection lost%s\n", options.once ? "" : ", waiting");
        if (options.once) {
            return kNoConnection;
        }
    }
}

}  // namespace logview
