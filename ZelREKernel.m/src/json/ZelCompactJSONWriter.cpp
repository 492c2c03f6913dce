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

// An array or object that is being written.
struct Level {
    explicit Level(const ZelJSONSlot& slot) noexcept {
        if (slot.type == kObject) {
            isObject = true;
            members = ZelJSONMemberCursor(slot, false);
        } else {
            elements = ZelJSONElementCursor(slot, false);
        }
    }

    bool isObject = false;
    bool first = true;
    std::uint32_t index = 0;  // of the element that is due
    ZelJSONElementCursor elements;
    ZelJSONMemberCursor members;
};

class CompactText {
public:
    void Write(const ZelJSONSlot& root);
    std::string Take() {
        PutChar('\n');
        return sink_.Take();
    }

private:
    bool WriteWhole(const ZelJSONSlot& slot);
    void WriteScalar(const ZelJSONSlot& slot);
    void WritePlainArray(Container& array);
    const ZelJSONSlot* WriteUpToContainer(Level& level);
    void PutChar(char c) {
        char* const out = sink_.Room(1);
        *out = c;
        sink_.Advance(out + 1);
    }
    void PutWord(std::string_view word) {
        char* const out = sink_.Room(word.size());
        std::memcpy(out, word.data(), word.size());
        sink_.Advance(out + word.size());
    }
    void PutSeparator(Level& level) {
        if (!std::exchange(level.first, false)) {
            PutChar(',');
        }
    }

    TextSink sink_;
    std::vector<Level> levels_;
};

// A number, a string, a boolean or null.
void CompactText::WriteScalar(const ZelJSONSlot& slot) {
    const ZelJSONSlot::Payload& payload = slot.payload;
    switch (slot.type) {
        case kNull:
            return PutWord("null");
        case kInt:
            return sink_.Advance(PutSigned(sink_.Room(kNumberRoom), payload.intNumber));
        case kUInt:
            return sink_.Advance(PutUnsigned(sink_.Room(kNumberRoom), payload.uintNumber));
        case kLongLong:
            return sink_.Advance(PutSigned(sink_.Room(kNumberRoom), payload.longLongNumber));
        case kULongLong:
            return sink_.Advance(PutUnsigned(sink_.Room(kNumberRoom), payload.ulongLongNumber));
        case kFloat:
            return sink_.Advance(
                PutDouble(sink_.Room(kNumberRoom), static_cast<double>(payload.floatNumber)));
        case kDouble:
            return sink_.Advance(PutDouble(sink_.Room(kNumberRoom), payload.doubleNumber));
        case kString: {
            const std::string_view text = ViewOf(slot);
            return sink_.PutQuoted(text.data(), text.size());
        }
        case kBoolean:
            return PutWord(payload.boolean ? "true" : "false");
        default:
            return;
    }
}

void CompactText::WritePlainArray(Container& array) {
    PutChar('[');
    const ZelJSONSlot* const end = array.Slots() + array.count;
    for (const ZelJSONSlot* slot = array.Slots(); slot != end; ++slot) {
        WriteScalar(*slot);
        PutChar(',');
    }
    // In place of the last comma.
    sink_.Advance(sink_.Room(0) - 1);
    PutChar(']');
}

// False, and nothing is written, for a container whose contents need a level.
bool CompactText::WriteWhole(const ZelJSONSlot& slot) {
    if (slot.type != kArray && slot.type != kObject) {
        WriteScalar(slot);
        return true;
    }
    Container* const container = ContainerOf(slot);
    if (container == nullptr) {
        PutWord(slot.type == kArray ? "[]" : "{}");
        return true;
    }
    if (slot.type == kArray && container->Has(Container::kPlain) && container->count != 0 &&
        !container->Has(Container::kExtended)) {
        WritePlainArray(*container);
        return true;
    }
    return false;
}

// Goes on until a container needs a level, which is returned, or to the end, which is null.
const ZelJSONSlot* CompactText::WriteUpToContainer(Level& level) {
    if (level.isObject) {
        while (!level.members.AtEnd()) {
            PutSeparator(level);
            const std::string_view name = level.members.Name();
            sink_.PutQuoted(name.data(), name.size());
            PutChar(':');
            const ZelJSONSlot& slot = *level.members.Slot();
            level.members.Next();
            if (!WriteWhole(slot)) {
                return &slot;
            }
        }
        return nullptr;
    }
    while (!level.elements.AtEnd()) {
        PutSeparator(level);
        if (level.index++ != level.elements.Index()) {
            PutWord("null");
            continue;
        }
        const ZelJSONSlot& slot = *level.elements.Slot();
        level.elements.Next();
        if (!WriteWhole(slot)) {
            return &slot;
        }
    }
    return nullptr;
}

void CompactText::Write(const ZelJSONSlot& root) {
    if (WriteWhole(root)) {
        return;
    }
    for (const ZelJSONSlot* container = &root; container != nullptr || !levels_.empty();) {
        if (container != nullptr) {
            levels_.emplace_back(*container);
            PutChar(levels_.back().isObject ? '{' : '[');
        }
        container = WriteUpToContainer(levels_.back());
        if (container == nullptr) {
            PutChar(levels_.back().isObject ? '}' : ']');
            levels_.pop_back();
        }
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
