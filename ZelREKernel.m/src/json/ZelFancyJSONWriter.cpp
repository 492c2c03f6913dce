#include "ZelREKernel/json/ZelFancyJSONWriter.h"

#include <utility>

#include "ZelREKernel/json/ZelJSONRange.h"

struct ZelFancyJSONWriter::Level {
    explicit Level(const ZelJSONValue& container)
        : isObject(container.IsObject()), size(container.Size()) {
        if (isObject) {
            members = ZelJSONMemberCursor(container.GetSlot(), false);
        } else {
            elements = ZelJSONElementCursor(container.GetSlot(), false);
        }
    }

    bool isObject;
    std::uint64_t size;
    std::uint64_t index = 0;  // of what is due
    ZelJSONElementCursor elements;
    ZelJSONMemberCursor members;
};

namespace {

// A value is its slot and nothing else.
const ZelJSONValue& ValueOf(const ZelJSONSlot& slot) {
    return reinterpret_cast<const ZelJSONValue&>(slot);
}

// The element at `index`, which grows from call to call; null where there is none.
const ZelJSONValue& ElementAt(ZelJSONElementCursor& cursor, std::uint64_t index) {
    if (cursor.AtEnd() || cursor.Index() != index) {
        return ZelJSONValue::theNULL;
    }
    const ZelJSONValue& element = ValueOf(*cursor.Slot());
    cursor.Next();
    return element;
}

}  // namespace

ZelFancyJSONWriter::~ZelFancyJSONWriter() = default;

std::string ZelFancyJSONWriter::Write(const ZelJSONValue& root) {
    document_.clear();
    addChildValues_ = false;
    indentString_.clear();
    Levels levels;
    WriteCommentBeforeValue(root);
    WriteValue(root, levels);
    while (!levels.empty()) {
        if (levels.back().isObject) {
            ContinueObject(levels);
        } else {
            ContinueArray(levels);
        }
    }
    WriteCommentAfterValueOnSameLine(root);
    document_ += '\n';
    // The caller gets the only copy: a writer that is kept holds no document's memory.
    return std::move(document_);
}

void ZelFancyJSONWriter::WriteValue(const ZelJSONValue& value, Levels& levels) {
    switch (value.GetValueType()) {
        case ZelJSONValue::nullValue:
            return PushValue("null");
        case ZelJSONValue::intValue:
            return PushValue(ValueToString(value.AsInt()));
        case ZelJSONValue::uintValue:
            return PushValue(ValueToString(value.AsUInt()));
        case ZelJSONValue::longLongValue:
            return PushValue(ValueToString(value.AsLongLong()));
        case ZelJSONValue::ulongLongValue:
            return PushValue(ValueToString(value.AsULongLong()));
        case ZelJSONValue::floatValue:
        case ZelJSONValue::doubleValue:
            return PushValue(ValueToString(value.AsDouble()));
        case ZelJSONValue::stringValue:
            return PushValue(ValueToQuotedString(value.AsStringView().data()));
        case ZelJSONValue::booleanValue:
            return PushValue(ValueToString(value.AsBool()));
        case ZelJSONValue::arrayValue:
            return WriteArrayValue(value, levels);
        case ZelJSONValue::objectValue:
            if (value.IsEmpty()) {
                return PushValue("{}");
            }
            WriteWithIndent("{");
            Indent();
            levels.emplace_back(value);
    }
}

void ZelFancyJSONWriter::ContinueObject(Levels& levels) {
    Level& level = levels.back();
    if (level.index == level.size) {
        levels.pop_back();
        Unindent();
        return WriteWithIndent("}");
    }
    if (level.index++ != 0) {
        document_ += ',';
    }
    const ZelJSONValue& value = ValueOf(*level.members.Slot());
    WriteCommentBeforeValue(value);
    WriteWithIndent(ValueToQuotedString(std::string(level.members.Name()).c_str()));
    document_ += " : ";
    level.members.Next();
    WriteValue(value, levels);  // may move the level
    WriteCommentAfterValueOnSameLine(value);
}

void ZelFancyJSONWriter::WriteArrayValue(const ZelJSONValue& array, Levels& levels) {
    if (array.Size() == 0) {
        return PushValue("[]");
    }
    if (!IsMultineArray(array)) {
        document_ += "[ ";
        const char* separator = "";
        for (const std::string& text : childValues_) {
            document_ += separator;
            document_ += text;
            separator = ", ";
        }
        document_ += " ]";
        return;
    }
    WriteWithIndent("[");
    Indent();
    if (childValues_.empty()) {
        levels.emplace_back(array);
        return;
    }
    const char* separator = "";
    for (const std::string& text : childValues_) {
        document_ += separator;
        WriteWithIndent(text);
        separator = ",";
    }
    Unindent();
    WriteWithIndent("]");
}

void ZelFancyJSONWriter::ContinueArray(Levels& levels) {
    Level& level = levels.back();
    if (level.index == level.size) {
        levels.pop_back();
        Unindent();
        return WriteWithIndent("]");
    }
    if (level.index != 0) {
        document_ += ',';
    }
    const ZelJSONValue& value = ElementAt(level.elements, level.index++);
    WriteCommentBeforeValue(value);
    WriteIndent();
    WriteValue(value, levels);  // may move the level
    WriteCommentAfterValueOnSameLine(value);
}

bool ZelFancyJSONWriter::IsMultineArray(const ZelJSONValue& array) {
    const std::uint64_t size = array.Size();
    // In 32 bits, whatever the size.
    const auto narrow = static_cast<std::uint32_t>(size);
    childValues_.clear();
    if (static_cast<std::int32_t>(3 * narrow) >= rightMargin_) {
        return true;
    }
    for (const ZelJSONValue& element : ZelJSONElements(array)) {
        if ((element.IsArray() || element.IsObject()) && !element.IsEmpty()) {
            return true;
        }
    }
    addChildValues_ = true;
    std::uint32_t length = 2 * narrow + 2;
    Levels none;  // nothing in here opens a level
    ZelJSONElementCursor cursor(array.GetSlot(), false);
    for (std::uint64_t index = 0; index < size; ++index) {
        WriteValue(ElementAt(cursor, index), none);
        length += static_cast<std::uint32_t>(childValues_.back().size());
    }
    addChildValues_ = false;
    return static_cast<std::int32_t>(length) >= rightMargin_;
}

void ZelFancyJSONWriter::PushValue(const std::string& text) {
    if (addChildValues_) {
        childValues_.push_back(text);
    } else {
        document_ += text;
    }
}

void ZelFancyJSONWriter::WriteIndent() {
    if (!document_.empty()) {
        const char last = document_.back();
        if (last == ' ') {
            return;
        }
        if (last != '\n') {
            document_ += '\n';
        }
    }
    document_ += indentString_;
}

// Behind a blank this is the text alone.
void ZelFancyJSONWriter::WriteWithIndent(const std::string& text) {
    WriteIndent();
    document_ += text;
}

void ZelFancyJSONWriter::Indent() {
    indentString_.append(static_cast<std::size_t>(indentSize_), ' ');
}

void ZelFancyJSONWriter::Unindent() {
    indentString_.resize(indentString_.size() - static_cast<std::size_t>(indentSize_));
}

void ZelFancyJSONWriter::WriteCommentBeforeValue(const ZelJSONValue& /*value*/) {}

void ZelFancyJSONWriter::WriteCommentAfterValueOnSameLine(const ZelJSONValue& /*value*/) {}

bool ZelFancyJSONWriter::HasCommentForValue(const ZelJSONValue& /*value*/) {
    return false;
}

std::string ZelFancyJSONWriter::NormalizeEOL(const std::string& text) {
    std::string normal;
    normal.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\r') {
            normal += text[i];
            continue;
        }
        normal += '\n';
        if (text[i + 1] == '\n') {  // behind the last character stands a zero
            ++i;
        }
    }
    return normal;
}
