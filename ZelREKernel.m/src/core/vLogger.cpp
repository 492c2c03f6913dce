#include "ZelREKernel/core/vLogger.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <mutex>
#include <new>
#include <string_view>
#include <utility>

#include "MekHost/assertion/MekCheck.h"
#include "core/FieldOrder.h"
#include "core/FormatText.h"
#include "core/LastLines.h"
#include "core/LogFlusher.h"

namespace ZKL {
namespace {

// A message up to this length is formatted on the caller's stack, before the lock is taken.
constexpr std::size_t kStackText = 1024;
// A buffer that one long text made larger than this is given back.
constexpr std::size_t kKeptBuffer = 64 * 1024;

constexpr const char* kLevels[] = {"DEBUG", "WARNING", "PROFILING", "INFO", "ERROR", "RELEASE"};

// What a decorated line of each level begins with.
constexpr std::string_view kPrefixes[] = {"[DEBUG]\t : ", "[WARNING]\t : ", "[PROFILING]\t : ",
                                          "[INFO]\t : ",  "[ERROR]\t : ",   "[RELEASE]\t : "};

std::string_view PrefixOf(vLogger::FLogLevel level) {
    return level >= vLogger::eDebug && level <= vLogger::eRelease ? kPrefixes[level] : "[]\t : ";
}

// Formats a message of `length` characters, measured before, at the end of `buffer`.
ZKL_PRINTF_FORMAT(3, 0)
void AppendFormatted(std::string& buffer, std::size_t length, const char* format,
                     std::va_list arguments) {
    const std::size_t before = buffer.size();
    buffer.resize(before + length);
    // Room for the terminator too: it falls on the string's own.
    const int written = std::vsnprintf(&buffer[before], length + 1, format, arguments);
    // An argument that another thread changes may be longer by now than it was measured.
    buffer.resize(before + std::min(written > 0 ? static_cast<std::size_t>(written) : 0, length));
}

}  // namespace

struct vLogger::Layout {
    ZKL_FIELD_ORDER_BEGIN
    static_assert(offsetof(vLogger, enabled_) == sizeof(void*));
    static_assert(offsetof(vLogger, decorated_) == sizeof(void*) + 1);
    static_assert(offsetof(vLogger, outputName_) == 2 * sizeof(void*));
    static_assert(offsetof(vLogger, mode_) == offsetof(vLogger, outputName_) + sizeof(std::string));
    static_assert(offsetof(vLogger, level_) == offsetof(vLogger, mode_) + 4);
    static_assert(offsetof(vLogger, output_) == offsetof(vLogger, level_) + 4);
    static_assert(offsetof(vLogger, buffer_) == offsetof(vLogger, output_) + sizeof(void*));
    static_assert(offsetof(vLogger, lock_) == offsetof(vLogger, buffer_) + sizeof(std::string));
    static_assert(offsetof(vLogger, async_) == offsetof(vLogger, lock_) + sizeof(vSlimLock));
    ZKL_FIELD_ORDER_END
};

const char* vLogger::ConvertLogLevelToString(FLogLevel level) {
    return level >= eDebug && level <= eRelease ? kLevels[level] : nullptr;
}

vLogger::vLogger(vLoggerOutput* output, FLogMode mode, FLogLevel level, bool async)
    : mode_(mode), level_(level), output_(output), async_(async) {}

void vLogger::Log(FLogLevel level, const char* format, std::va_list arguments) {
    InternalLog(level, format, arguments);
}

vLogger::~vLogger() {
    if (output_) {
        output_->Release();
    }
}

void vLogger::SetOutput(const char* name) {
    if (!name) {
        Check_Pointer_Failed__("name", __FILE__, __LINE__);
        return;
    }
    std::string newName(name);
    const std::lock_guard guard(lock_);
    // First the old output goes, so that the new one may take over its file or port.
    if (vLoggerOutput* const old = std::exchange(output_, nullptr)) {
        old->Release();
    }
    outputName_.swap(newName);
    output_ = vLoggerOutput::Create(name);
}

void vLogger::FlushCurrentLog() {
    if (mode_ & eFlushOnRequest) {
        InternalFlushCurrentLog();
    }
}

std::string vLogger::GetOutputName() const {
    const std::lock_guard guard(lock_);
    return outputName_;
}

void vLogger::InternalLog(FLogLevel level, const char* format, std::va_list arguments) {
    if (level < GetLevel() || !IsEnabled()) {
        return;
    }
    if (!format) {
        Check_Pointer_Failed__("format", __FILE__, __LINE__);
        return;
    }
    char text[kStackText];
    std::va_list again;
    va_copy(again, arguments);
    // Negative for what cannot be formatted, a wide text without a multibyte form: an empty
    // message.
    const int length = std::max(FormatText(text, sizeof(text), format, arguments), 0);
    {
        const std::lock_guard guard(lock_);
        const std::string_view formatted(text, static_cast<std::size_t>(length));
        // Asked again: the channels of a process that ends are disabled under the lock, and gather
        // no more text.
        if (IsEnabled() && AppendMessage(level, formatted, format, again) &&
            (mode_ & eFlushEachMessage)) {
            InternalFlushCurrentLog();
        }
    }
    va_end(again);
}

bool vLogger::AppendMessage(FLogLevel level, std::string_view formatted, const char* format,
                            std::va_list arguments) {
    const std::size_t before = buffer_.size();
    try {
        if (decorated_) {
            buffer_ += PrefixOf(level);
        }
        if (formatted.size() < kStackText) {
            buffer_ += formatted;
        } else {
            AppendFormatted(buffer_, formatted.size(), format, arguments);
        }
        if (decorated_) {
            buffer_ += '\n';
        }
        if (lastLines_) {
            lastLines_->Add(std::string_view(buffer_).substr(before));
        }
        return true;
    } catch (const std::bad_alloc&) {
        buffer_.resize(before);
        return false;
    }
}

void vLogger::InternalFlushCurrentLog() {
    if (!output_) {
        return;
    }
    try {
        if (!async_ || !LogFlusher::Queue(buffer_, *output_)) {
            output_->Write(buffer_);
        }
    } catch (const std::bad_alloc&) {
        return;  // the text stays for the next flush
    }
    buffer_.clear();
    if (buffer_.capacity() > kKeptBuffer) {
        buffer_ = std::string();
    }
}

}  // namespace ZKL
