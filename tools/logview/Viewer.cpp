#include "Viewer.h"

#include <MekHost/MekHost.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <memory>
#include <thread>

#include "LineStream.h"
#include "Terminal.h"

namespace logview {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int kRetryMs = 200;
// A connection is lost to another viewer, too, which takes it back: the two are not to throw each
// other out many times a second. The pause grows until a connection has lasted.
constexpr int kLongestPauseMs = 5000;
constexpr std::chrono::seconds kLasting{10};

// Null when the wait is over, or when the address is none, which never gets better.
std::unique_ptr<MekSockets> Connect(const Options& options, std::int32_t& status) {
    const Clock::time_point end = Clock::now() + std::chrono::milliseconds(options.waitMs);
    for (;;) {
        MekSockets* connection = nullptr;
        status = MekSockets::Connect(options.address.c_str(), options.port, kRetryMs, &connection);
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
// runs. Returns 0 or the error's number.
int Write(std::string& text, std::FILE* out) {
    errno = 0;
    const bool isWritten =
        std::fwrite(text.data(), 1, text.size(), out) == text.size() && std::fflush(out) == 0;
    text.clear();
    return isWritten ? 0 : errno != 0 ? errno : EIO;
}

struct Ending {
    bool isClosed = false;  // by the program
    int error = 0;          // of the output
};

Ending Follow(MekSockets& connection, LineFilter filter, std::FILE* out) {
    LineStream stream;
    std::string text;
    char bytes[16384];
    std::size_t received = 0;
    while (connection.Receive(bytes, sizeof(bytes), -1, &received) == kMekOk) {
        for (const std::string_view line : stream.Push({bytes, received})) {
            filter.Show(line, text);
        }
        if (const int error = Write(text, out)) {
            return {.error = error};
        }
    }
    Ending ending;
    const std::string rest = stream.Finish(ending.isClosed);
    if (!rest.empty()) {
        filter.Show(rest, text);
    }
    ending.error = Write(text, out);
    return ending;
}

Status NoConnection(const Options& options, std::int32_t status, std::FILE* news) {
    const char* const address = options.address.c_str();
    if (status == kMekInvalidParameter) {
        std::fprintf(news, "zkl-logview: %s is no dotted IPv4 address\n", address);
        return kBadArguments;
    }
    std::fprintf(news, "zkl-logview: no log at %s, port %d\n", address, options.port);
    return kFailed;
}

}  // namespace

Status View(const Options& options, const LineFilter& filter, std::FILE* out, std::FILE* news) {
    for (int pauseMs = kRetryMs;; pauseMs = std::min(2 * pauseMs, kLongestPauseMs)) {
        std::int32_t status = kMekOk;
        const std::unique_ptr<MekSockets> connection = Connect(options, status);
        if (connection == nullptr) {
            return NoConnection(options, status, news);
        }
        const Clock::time_point begin = Clock::now();
        const Ending ending = Follow(*connection, filter, out);
        if (ending.error != 0 && !IsReaderGone(ending.error)) {
            std::fprintf(news, "zkl-logview: cannot write: %s\n", std::strerror(ending.error));
            return kFailed;
        }
        if (ending.isClosed || ending.error != 0) {
            return kClosed;
        }
        std::fprintf(news, "zkl-logview: connection lost%s\n", options.once ? "" : ", waiting");
        if (options.once) {
            return kFailed;
        }
        if (Clock::now() - begin > kLasting) {
            pauseMs = kRetryMs;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(pauseMs));
    }
}

}  // namespace logview
