#include "ZelREKernel/profiling/vGoogleTracer.h"

#include <charconv>
#include <mutex>
#include <string_view>

#include "profiling/ChunkBuffer.h"
#include "profiling/DecimalText.h"
#include "profiling/ProfilerState.h"

namespace ZKL {

// On Windows users import the constants of an exported class as they do its functions.
constexpr std::size_t vGoogleTracer::kMaxChunk;
constexpr std::size_t vGoogleTracer::kChunkThreshold;
namespace {

// Of the process: the next event is the first of its file. Guarded by the name table's lock.
constinit bool s_isFirstEvent = true;

// The most that an event takes beside its names and text: all punctuation and all numbers.
constexpr std::size_t kMaxFixedPart = 256;

static_assert(ChunkBuffer::kSize == vGoogleTracer::kMaxChunk);
static_assert(ChunkBuffer::kThreshold == vGoogleTracer::kChunkThreshold);

constexpr std::int64_t kFirstLongTime = 2147483647;

// Output without looking at the room left: the caller made sure of it, with a block to spare.
class RoomyOutput {
public:
    explicit RoomyOutput(char* position) noexcept : position_(position) {}

    template <std::size_t size>
    void Literal(const char (&text)[size]) noexcept {
        std::memcpy(position_, text, size - 1);
        position_ += size - 1;
    }
    void Name(const NameTable::Name& name) noexcept {
        // Whole blocks, without a branch on the length for the usual short name.
        std::memcpy(position_, name.text, NameTable::kBlock);
        for (std::uint32_t done = NameTable::kBlock; done < name.length;
             done += NameTable::kBlock) {
            std::memcpy(position_ + done, name.text + done, NameTable::kBlock);
        }
        position_ += name.length;
    }
    void Text(std::string_view text) noexcept {
        position_ = std::copy(text.begin(), text.end(), position_);
    }
    void Character(char character) noexcept { *position_++ = character; }
    void Number(std::uint32_t value) noexcept { position_ = WriteDecimal(position_, value); }

    char* GetEnd() const noexcept { return position_; }

private:
    char* position_;
};

// Output of events that may not fit the buffer.
class CarefulOutput {
public:
    explicit CarefulOutput(ChunkBuffer& buffer) noexcept : buffer_(buffer) {}

    template <std::size_t size>
    void Literal(const char (&text)[size]) noexcept {
        buffer_.Append(text, size - 1);
    }
    void Name(const NameTable::Name& name) noexcept { buffer_.Append(name.text, name.length); }
    void Text(std::string_view text) noexcept { buffer_.Append(text.data(), text.size()); }
    void Character(char character) noexcept { buffer_.Append(&character, 1); }
    void Number(std::uint32_t value) noexcept {
        char digits[10];
        buffer_.Append(digits, static_cast<std::size_t>(WriteDecimal(digits, value) - digits));
    }

private:
    ChunkBuffer& buffer_;
};

// A record with its handles resolved.
struct Event {
    const vTraceRecord& record;
    NameTable::Name name;
    NameTable::Name category;
    NameTable::Name argName;
    std::string_view text;
    std::int64_t time;

    std::size_t GetMaxLength() const noexcept {
        return kMaxFixedPart + name.length + category.length + argName.length + text.size();
    }
};

Event Resolve(const vTraceRecord& record, const NameTable& names, std::int64_t startTime) noexcept {
    const bool hasText = record.argKind == vTraceRecord::eArgText && record.value.text;
    return {.record = record,
            .name = names.LookUp(record.nameId),
            .category = names.LookUp(record.categoryId),
            .argName = names.LookUp(record.argNameId),
            .text = hasText ? std::string_view(record.value.text) : std::string_view(),
            .time = static_cast<std::int64_t>(static_cast<std::uint64_t>(record.timestamp) -
                                              static_cast<std::uint64_t>(startTime))};
}

// A time before the start stays one, with its sign.
template <typename Output>
void WriteTime(Output& out, std::int64_t time) noexcept {
    if (time >= 0 && time < kFirstLongTime) [[likely]] {
        out.Number(static_cast<std::uint32_t>(time));
        return;
    }
    char digits[20];
    const std::to_chars_result result = std::to_chars(digits, digits + sizeof digits, time);
    out.Text({digits, static_cast<std::size_t>(result.ptr - digits)});
}

template <typename Output>
void WriteArguments(Output& out, const Event& event) noexcept {
    const bool isText = event.record.argKind == vTraceRecord::eArgText;
    if (isText && event.record.argNameId == vTraceRecord::kNone && event.text.data()) {
        out.Literal(",\"args\":");
        out.Text(event.text);
    } else if (isText || event.record.argKind == vTraceRecord::eArgNumber) {
        out.Literal(",\"args\":{\"");
        out.Name(event.argName);
        out.Literal("\":\"");
        if (isText) {
            out.Text(event.text);
        } else {
            out.Number(event.record.value.number);
        }
        out.Literal("\"}");
    }
}

template <typename Output>
void WriteEvent(Output& out, const Event& event, bool isFirst) noexcept {
    const vTraceRecord& record = event.record;
    if (!isFirst) {
        out.Literal(",\n");
    }
    out.Literal("{\"ph\":\"");
    out.Character(record.phase);
    out.Literal("\",\"name\":\"");
    out.Name(event.name);
    out.Literal("\",\"cat\":\"");
    out.Name(event.category);
    out.Literal("\",\"pid\":");
    out.Number(record.pid);
    out.Literal(",\"tid\":");
    out.Number(record.tid);
    out.Literal(",\"ts\":");
    WriteTime(out, event.time);
    WriteArguments(out, event);
    if (record.phase == 'i') {
        out.Literal(",\"s\":\"g\"");
    }
    if (record.flowId != vTraceRecord::kNone) {
        out.Literal(", \"id\":");
        out.Number(record.flowId);
    }
    out.Character('}');
}

void AppendEvent(ChunkBuffer& buffer, const Event& event, bool isFirst) noexcept {
    if (char* room = buffer.Reserve(event.GetMaxLength())) [[likely]] {
        RoomyOutput out(room);
        WriteEvent(out, event, isFirst);
        buffer.Commit(out.GetEnd());
    } else {
        CarefulOutput out(buffer);
        WriteEvent(out, event, isFirst);
    }
}

void WriteText(std::string_view text, const vGoogleTracer::Sink& sink,
               const vGoogleTracer::Options& options) noexcept {
    ChunkBuffer buffer(sink.write, sink.context, options.isScrambled, options.key);
    buffer.Append(text.data(), text.size());
    buffer.WriteOut();
}

}  // namespace

void vGoogleTracer::BeginFile() noexcept {
    const std::lock_guard guard(ProfilerState::Get().GetNames());
    s_isFirstEvent = true;
}

void vGoogleTracer::WriteOpening(const Sink& sink, const Options& options) noexcept {
    WriteText("{\"traceEvents\":[\n", sink, options);
}

void vGoogleTracer::WriteClosing(const Sink& sink, const Options& options) noexcept {
    WriteText("\n]}\n", sink, options);
}

void vGoogleTracer::WriteRecords(const vTraceRecord* records, std::size_t count, const Sink& sink,
                                 const Options& options) noexcept {
    NameTable& names = ProfilerState::Get().GetNames();
    const std::lock_guard guard(names);
    ChunkBuffer buffer(sink.write, sink.context, options.isScrambled, options.key);
    // A dropped chunk leaves the file as it was, so an event after it may still be the first.
    bool isFirstOfChunk = s_isFirstEvent;
    for (std::size_t i = 0; i < count; ++i) {
        AppendEvent(buffer, Resolve(records[i], names, options.startTime), s_isFirstEvent);
        s_isFirstEvent = false;
        if (buffer.IsPastThreshold()) [[unlikely]] {
            s_isFirstEvent = !buffer.WriteOut() && isFirstOfChunk;
            isFirstOfChunk = s_isFirstEvent;
        }
    }
    if (!buffer.WriteOut()) {
        s_isFirstEvent = isFirstOfChunk;
    }
}

}  // namespace ZKL
