#include "ZelREKernel/core/vLoggerManager.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <utility>

#include "MekHost/MekStatus.h"
#include "MekHost/process/MekEnvironment.h"
#include "base/ForkedChild.h"
#include "base/LibraryEnd.h"
#include "core/LastLines.h"
#include "core/LogFlusher.h"
#include "core/PipeliningLogger.h"

namespace ZKL {
namespace {

// The loggers are built in place and never destroyed: threads of the host may log until the process
// is no more, and find their channel disabled then.
struct alignas(PipeliningLogger) Place {
    std::byte bytes[sizeof(PipeliningLogger)];
};
static_assert(sizeof(vLogger) <= sizeof(Place));

constinit Place s_places[kLogChannels] = {};

// What one channel starts with; no output when `output` is null.
struct Channel {
    const char* output;
    vLogger::FLogMode mode;
    vLogger::FLogLevel level;
    bool async;
    bool enabled;
    bool decorated;
};

// Of ASCII alone: the process's locale has other ideas of what is a letter, and of its upper case.
char ToUpper(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

bool IsDigitOrLetter(char c) {
    return (c >= '0' && c <= '9') || (ToUpper(c) >= 'A' && ToUpper(c) <= 'Z');
}

// "0" to "5" or a level's name in any case; other digits and single letters stand for the highest
// level, everything else for the lowest.
vLogger::FLogLevel ParseLevel(std::string text) {
    if (text.size() == 1 && IsDigitOrLetter(text[0])) {
        const int number = text[0] - '0';
        return number <= vLogger::eRelease ? static_cast<vLogger::FLogLevel>(number)
                                           : vLogger::eRelease;
    }
    std::transform(text.begin(), text.end(), text.begin(), &ToUpper);
    for (std::int32_t value = vLogger::eDebug; value <= vLogger::eRelease; ++value) {
        const auto level = static_cast<vLogger::FLogLevel>(value);
        if (text == vLogger::ConvertLogLevelToString(level)) {
            return level;
        }
    }
    return vLogger::eDebug;
}

vLogger::FLogLevel ReadDefaultLevel() {
    std::string text;
    MekGetEnv("ZKLDefaultLogLevel", &text);
    return ParseLevel(text);
}

bool IsPipeliningWanted() {
    std::string value;
    return MekGetEnv("LOG_PIPELINING", &value) == kMekOk;
}

}  // namespace

struct vLoggerManager::Channels {
    // For a child that fork() made. What one of the parent's threads was changing under the lock is
    // in no known state, and nobody will let go of it: the memory is given up.
    static void TakeOver(vLogger& logger) {
        if (logger.lock_.try_lock()) {
            logger.lock_.unlock();
            return;
        }
        std::construct_at(&logger.lock_);
        std::construct_at(&logger.buffer_);
        if (!logger.output_) {  // it may be between two names
            std::construct_at(&logger.outputName_);
        }
    }
    static void TakeOverAll() {
        LogFlusher::LeaveToParent();
        for (vLogger* const logger : s_manager.loggers_) {
            TakeOver(*logger);
        }
    }
    // Disables the logger for good and takes all that it holds.
    static void End(vLogger& logger) {
        vLoggerOutput* output = nullptr;
        logger.EndLog();  // first, so that a thread that logs without a pause lets go of the lock
        {
            // A logger that one of the threads held that the system ended is in no known state.
            const std::unique_lock lock = AreThreadsGone()
                                              ? std::unique_lock(logger.lock_, std::try_to_lock)
                                              : std::unique_lock(logger.lock_);
            if (!lock) {
                return;
            }
            output = std::exchange(logger.output_, nullptr);
            std::string().swap(logger.outputName_);
            std::string().swap(logger.buffer_);
        }
        if (output) {
            output->Release();
        }
    }
};

// Other static objects of this library may log while they are built or destroyed.
[[gnu::init_priority(102)]] vLoggerManager vLoggerManager::s_manager;

vLoggerManager& vLoggerManager::GetInstance() {
    return s_manager;
}

vLoggerManager::vLoggerManager() {
    constexpr auto kEach = vLogger::eFlushEachMessage;
    constexpr auto kRequest = vLogger::eFlushOnRequest;
    static_assert(kChannels == kLogChannels);
    const bool pipelining = IsPipeliningWanted();
    const Channel channels[kChannels] = {
        // output, mode, level, async, enabled, decorated
        {"stdout", kEach, ReadDefaultLevel(), true, true, true},
        {nullptr, kEach, vLogger::eDebug, true, false, true},
        {nullptr, kRequest, vLogger::eProfiling, true, false, false},
        {"stdout", kEach, vLogger::eDebug, true, true, true},
        {"abendTrace", kEach, vLogger::eDebug, false, true, false},
        {"stdout", kEach, vLogger::eDebug, true, true, true},
        {"stdout", kEach, vLogger::eDebug, true, pipelining, false}};
    for (std::size_t type = 0; type < kChannels; ++type) {
        const Channel& channel = channels[type];
        vLoggerOutput* const output =
            channel.output ? vLoggerOutput::Create(channel.output) : nullptr;
        void* const place = &s_places[type];
        vLogger* const logger =
            type == ePipelining
                ? new (place) PipeliningLogger(output, channel.mode, channel.level, channel.async)
                : new (place) vLogger(output, channel.mode, channel.level, channel.async);
        loggers_[type] = logger;
        logger->outputName_ = channel.output ? channel.output : "";
        logger->decorated_ = channel.decorated;
        logger->lastLines_ = &LastLinesOf(type);
        logger->enabled_.store(channel.enabled, std::memory_order_relaxed);
    }
    CallInForkedChildren(&Channels::TakeOverAll);
}

vLoggerManager::~vLoggerManager() {
    // A host that never stopped the flusher would otherwise leave its thread in unloaded code.
    LogFlusher::Stop();
    for (vLogger* const logger : loggers_) {
        Channels::End(*logger);
    }
}

vLogger& vLoggerManager::GetLogger(Type type) {
    if (type < eDefault || type > ePipelining) {
        std::fprintf(stderr, "Invalid logger type asked for: %d\n", static_cast<int>(type));
        return *loggers_[eDefault];
    }
    return *loggers_[static_cast<std::size_t>(type)];
}

}  // namespace ZKL
