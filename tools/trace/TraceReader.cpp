#include "TraceReader.h"

#include <ZelREKernel/json/ZelJSONErrorText.h>
#include <ZelREKernel/json/ZelJSONRange.h>
#include <ZelREKernel/json/ZelJSONReader.h>
#include <ZelREKernel/json/ZelJSONValue.h>

#include <cmath>
#include <string_view>

#include "Flows.h"
#include "TraceBuilder.h"

namespace trace {
namespace {

bool IsNumber(const ZelJSONValue& value) {
    return value.GetValueType() >= ZelJSONValue::intValue &&
           value.GetValueType() <= ZelJSONValue::doubleValue;
}

// The texts that an event's views point to; used again for each.
struct Scratch {
    std::string arguments;
    std::string argument;
    ZelJSONValue parsed;
};

std::string ArgumentText(const ZelJSONValue& value) {
    switch (value.GetValueType()) {
        case ZelJSONValue::arrayValue:
            return "[...]";
        case ZelJSONValue::objectValue:
            return "{...}";
        case ZelJSONValue::nullValue:
            return "null";
        default:
            return value.AsString();
    }
}

void ReadArguments(const ZelJSONValue& arguments, Event& event, Scratch& scratch) {
    scratch.arguments.clear();
    bool isFirst = true;
    for (const auto [name, value] : ZelJSONMembers(arguments)) {
        const std::string text = ArgumentText(value);
        if (isFirst) {
            scratch.argument = text;
            event.argument = scratch.argument;
            event.number = IsNumber(value) ? value.AsDouble() : 0;
        }
        scratch.arguments.append(isFirst ? "" : ", ").append(name).append(": ").append(text);
        isFirst = false;
    }
    event.arguments = scratch.arguments;
}

// Microseconds of a trace; false for what no clock shows.
bool ReadTime(const ZelJSONValue& value, Event& event) {
    constexpr double kLatest = 4e15;  // a century; differences of nanoseconds do not overflow
    if (!IsNumber(value) || !(std::fabs(value.AsDouble()) <= kLatest)) {
        return false;
    }
    const bool isWhole = value.IsInt() || value.IsLongLong();
    event.time = isWhole ? value.AsLongLong() * 1000 : std::llround(value.AsDouble() * 1000);
    event.hasTime = true;
    return true;
}

bool ReadWhole(const ZelJSONValue& value, std::int64_t& number) {
    if (!IsNumber(value) || !(std::fabs(value.AsDouble()) <= 9e15)) {
        return false;
    }
    number = static_cast<std::int64_t>(value.AsDouble());
    return true;
}

// What is wrong with the member, or nothing.
std::string_view ReadMember(std::string_view name, const ZelJSONValue& value, Event& event,
                            Scratch& scratch) {
    if (name == "ph") {
        const std::string_view phase = value.AsStringView();
        event.phase = phase.size() == 1 ? phase[0] : '\0';
    } else if (name == "name") {
        event.name = value.AsStringView();
    } else if (name == "cat") {
        event.category = value.AsStringView();
    } else if (name == "ts") {
        return ReadTime(value, event) ? "" : "\"ts\" is no time";
    } else if (name == "pid") {
        return ReadWhole(value, event.pid) ? "" : "\"pid\" is no number";
    } else if (name == "tid") {
        return ReadWhole(value, event.tid) ? "" : "\"tid\" is no number";
    } else if (name == "id") {
        std::int64_t id = 0;
        event.hasId = ReadWhole(value, id);
        event.id = static_cast<std::uint64_t>(id);
        return event.hasId ? "" : "\"id\" is no number";
    } else if (name == "args" && value.IsObject()) {
        ReadArguments(value, event, scratch);
    }
    return "";
}

void ReadEvent(const ZelJSONValue& element, TraceBuilder& builder, Scratch& scratch) {
    if (!element.IsObject()) {
        builder.AddBroken("is no object");
        return;
    }
    Event event;
    std::string_view wrong;
    for (const auto [name, value] : ZelJSONMembers(element)) {
        const std::string_view what = ReadMember(name, value, event, scratch);
        wrong = wrong.empty() ? what : wrong;
    }
    if (wrong.empty()) {
        wrong = event.phase == '\0'                    ? "has no phase"
                : !event.hasTime && event.phase != 'M' ? "has no time"
                                                       : "";
    }
    if (wrong.empty()) {
        builder.Add(event);
    } else {
        builder.AddBroken(wrong);
    }
}

}  // namespace

bool ReadTrace(const std::string& text, Trace& trace, Faults& faults, std::string& error) {
    ZelJSONReader reader;
    ZelJSONValue root;
    if (!reader.Parse(text, root)) {
        error = ZelJSONErrorText(reader, 0);
        return false;
    }
    const ZelJSONValue& document = root;
    const ZelJSONValue& events = document.IsObject() ? document["traceEvents"] : document;
    if (!events.IsArray()) {
        error = "no trace: neither an array of events nor an object with \"traceEvents\"";
        return false;
    }
    TraceBuilder builder(faults);
    Scratch scratch;
    for (const ZelJSONValue& element : ZelJSONElements(events)) {
        ReadEvent(element, builder, scratch);
    }
    trace = builder.Finish();
    OrderFlows(trace, faults);
    return true;
}

}  // namespace trace
