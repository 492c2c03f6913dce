#include "ZelREKernel/json/ZelCompactJSONWriter.h"

#include <cstring>
#include <string_view>
#include <utility>
#include <vector>

#include "ZelREKernel/json/ZelJSONRange.h"
#include "json/JSONContainer.h"
#include "json/NumberText.h"
#include "json/TextSink.h"

namespace {

using namespace ZelJSON;

// The largest text but for strings, with a separator before it.
constexpr std::size_t kScalarRoom = kNumberRoom + 1;

// An array or object that is being written. One that was extended after it was made is followed by
// a cursor, any other by pointers into its run.
struct Level {
    enum Kind : std::uint8_t { Elements, Members, ExtendedElements, ExtendedMembers };

    union {
        const ZelJSONSlot* slot;
        const Member* member;
    };
    union {
        const ZelJSONSlot* lastSlot;
        const Member* lastMember;
    };
    std::uint32_t index;  // of the extended element that is due
    Kind kind;
    char separator;  // a comma once something was written

    bool IsObject() const noexcept { return kind == Members || kind == ExtendedMembers; }
};

class CompactText {
public:
    void Write(const ZelJSONSlot& root);
    std::string Take() {
        PutChar('\n');
        return sink_.Take();
    }

private:
    bool WriteWhole(const ZelJSONSlot& slot, char separator);
    void PutString(const ZelJSONSlot& slot);
    void PutName(std::string_view name, Level& level);
    void PutName(const Key& key, Level& level);
    Level Open(const ZelJSONSlot& slot);
    void Close(const Level& level);
    const ZelJSONSlot* WriteUpToContainer(Level& level);
    const ZelJSONSlot* WriteUpToContainer(Level& level, ZelJSONElementCursor& cursor);
    const ZelJSONSlot* WriteUpToContainer(Level& level, ZelJSONMemberCursor& cursor);
    void PutChar(char c) {
        char* const out = sink_.Room(1);
        *out = c;
        sink_.Advance(out + 1);
    }

    TextSink sink_;
    std::vector<Level> outer_;
    std::vector<ZelJSONElementCursor> elements_;  // of the extended levels, innermost last
    std::vector<ZelJSONMemberCursor> members_;
};

char* PutWord(char* out, std::string_view word) {
    std::memcpy(out, word.data(), word.size());
    return out + word.size();
}

// Nothing for 0.
char* PutSeparator(char* out, char separator) {
    *out = separator;
    return out + (separator != 0 ? 1 : 0);
}

// A number, a boolean or null, into kNumberRoom bytes.
char* PutScalar(char* out, const ZelJSONSlot& slot) {
    const ZelJSONSlot::Payload& payload = slot.payload;
    switch (slot.type) {
        case kNull:
            return PutWord(out, "null");
        case kInt:
            return PutSigned(out, payload.intNumber);
        case kUInt:
            return PutUnsigned(out, payload.uintNumber);
        case kLongLong:
            return PutSigned(out, payload.longLongNumber);
        case kULongLong:
            return PutUnsigned(out, payload.ulongLongNumber);
        case kFloat:
            return PutDouble(out, static_cast<double>(payload.floatNumber));
        case kDouble:
            return PutDouble(out, payload.doubleNumber);
        case kBoolean:
            return payload.boolean ? PutWord(out, "true") : PutWord(out, "false");
        default:
            return out;
    }
}

void CompactText::PutString(const ZelJSONSlot& slot) {
    const std::string_view text = ViewOf(slot);
    if (IsInline(slot)) {
        sink_.PutShortQuoted(text.data(), text.size());
    } else {
        sink_.PutQuoted(text.data(), text.size());
    }
}

// Writes a scalar or an empty container behind its separator. False, and only the separator is
// written, for a container with contents.
bool CompactText::WriteWhole(const ZelJSONSlot& slot, char separator) {
    char* const out = PutSeparator(sink_.Room(kScalarRoom), separator);
    switch (slot.type) {
        case kString:
            sink_.Advance(out);
            PutString(slot);
            return true;
        case kArray:
        case kObject:
            if (ContainerOf(slot) != nullptr) {
                sink_.Advance(out);
                return false;
            }
            sink_.Advance(PutWord(out, slot.type == kArray ? "[]" : "{}"));
            return true;
        default:
            sink_.Advance(PutScalar(out, slot));
            return true;
    }
}

// The name of the next member; what separates it from its value is due then.
void CompactText::PutName(std::string_view name, Level& level) {
    sink_.Advance(PutSeparator(sink_.Room(1), std::exchange(level.separator, ',')));
    sink_.PutQuoted(name.data(), name.size());
}

void CompactText::PutName(const Key& key, Level& level) {
    if (key.IsLong()) {
        return PutName(key.View(), level);
    }
    sink_.Advance(PutSeparator(sink_.Room(1), std::exchange(level.separator, ',')));
    const std::string_view name = key.View();
    sink_.PutShortQuoted(name.data(), name.size());
}

Level CompactText::Open(const ZelJSONSlot& slot) {
    Container& container = *ContainerOf(slot);
    const bool extended = container.Has(Container::kExtended);
    Level level;
    level.index = 0;
    level.separator = 0;
    if (slot.type == kObject) {
        level.kind = extended ? Level::ExtendedMembers : Level::Members;
        level.member = container.Members();
        level.lastMember = level.member + container.count;
        if (extended) {
            members_.emplace_back(slot, false);
        }
    } else {
        level.kind = extended ? Level::ExtendedElements : Level::Elements;
        level.slot = container.Slots();
        level.lastSlot = level.slot + container.count;
        if (extended) {
            elements_.emplace_back(slot, false);
        }
    }
    PutChar(level.IsObject() ? '{' : '[');
    return level;
}

void CompactText::Close(const Level& level) {
    if (level.kind == Level::ExtendedElements) {
        elements_.pop_back();
    } else if (level.kind == Level::ExtendedMembers) {
        members_.pop_back();
    }
    PutChar(level.IsObject() ? '}' : ']');
}

// Goes on until a container with contents, which is returned, or to the end, which is null.
const ZelJSONSlot* CompactText::WriteUpToContainer(Level& level) {
    switch (level.kind) {
        case Level::Elements:
            while (level.slot != level.lastSlot) {
                const ZelJSONSlot& slot = *level.slot++;
                if (!WriteWhole(slot, std::exchange(level.separator, ','))) {
                    return &slot;
                }
            }
            return nullptr;
        case Level::Members:
            while (level.member != level.lastMember) {
                const Member& member = *level.member++;
                PutName(member.key, level);
                if (!WriteWhole(member.value, ':')) {
                    return &member.value;
                }
            }
            return nullptr;
        case Level::ExtendedElements:
            return WriteUpToContainer(level, elements_.back());
        case Level::ExtendedMembers:
            return WriteUpToContainer(level, members_.back());
    }
    return nullptr;
}

const ZelJSONSlot* CompactText::WriteUpToContainer(Level& level, ZelJSONElementCursor& cursor) {
    while (!cursor.AtEnd()) {
        const char separator = std::exchange(level.separator, ',');
        if (level.index++ != cursor.Index()) {
            WriteWhole(ZelJSONSlot(), separator);
            continue;
        }
        const ZelJSONSlot& slot = *cursor.Slot();
        cursor.Next();
        if (!WriteWhole(slot, separator)) {
            return &slot;
        }
    }
    return nullptr;
}

const ZelJSONSlot* CompactText::WriteUpToContainer(Level& level, ZelJSONMemberCursor& cursor) {
    while (!cursor.AtEnd()) {
        PutName(cursor.Name(), level);
        const ZelJSONSlot& slot = *cursor.Slot();
        cursor.Next();
        if (!WriteWhole(slot, ':')) {
            return &slot;
        }
    }
    return nullptr;
}

void CompactText::Write(const ZelJSONSlot& root) {
    if (WriteWhole(root, 0)) {
        return;
    }
    Level level = Open(root);
    for (;;) {
        if (const ZelJSONSlot* const container = WriteUpToContainer(level)) {
            outer_.push_back(level);
            level = Open(*container);
            continue;
        }
        Close(level);
        if (outer_.empty()) {
            return;
        }
        level = outer_.back();
        outer_.pop_back();
    }
}

}  // namespace

ZelCompactJSONWriter::~ZelCompactJSONWriter() = default;

std::string ZelCompactJSONWriter::Write(const ZelJSONValue& root) {
    CompactText text;
    text.Write(root.GetSlot());
    document_ = text.Take();
    // The caller gets the only copy: a writer that is kept holds no document's memory.
    return std::move(document_);
}
