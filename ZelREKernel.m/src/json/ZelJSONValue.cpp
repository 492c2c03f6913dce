#include "ZelREKernel/json/ZelJSONValue.h"

#include <emmintrin.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <MekHost/assertion/MekCheck.h>

#include "json/JSONContainer.h"
#include "json/JSONText.h"
#include "json/JSONTree.h"

// Every use stands on a line of its own, which tells the sites apart in a report.
#define ZEL_JSON_MISUSE(expression) Check_TRUE_Failed__((expression), "src/ZelJSONValue", __LINE__)

namespace {

using namespace ZelJSON;

constexpr const char* kNotAnArray = "m_ValType == nullValue || m_ValType == arrayValue";
constexpr const char* kNotAnObject = "m_ValType == nullValue || m_ValType == objectValue";

std::string_view ViewOfName(const char* name) noexcept {
    return name != nullptr ? std::string_view(name) : std::string_view("");
}

// A view of nothing at all is an empty text.
std::string_view ViewOfName(std::string_view name) noexcept {
    return name.data() != nullptr ? name : std::string_view("");
}

std::string_view UpToZero(std::string_view text) noexcept {
    return ViewOfName(text.substr(0, text.find('\0')));
}

// A value that is nothing but its slot.
ZelJSONValue& ValueOf(ZelJSONSlot& slot) noexcept {
    static_assert(std::is_standard_layout_v<ZelJSONValue>);
    return reinterpret_cast<ZelJSONValue&>(slot);
}

const ZelJSONValue& ValueOrNull(ZelJSONSlot* slot) noexcept {
    return slot != nullptr ? ValueOf(*slot) : ZelJSONValue::theNULL;
}

// Conversions as the machine makes them: what does not fit gives the "indefinite" integer, where
// C++ leaves the result undefined.
int ToInt(float value) noexcept {
    return _mm_cvttss_si32(_mm_set_ss(value));
}
int ToInt(double value) noexcept {
    return _mm_cvttsd_si32(_mm_set_sd(value));
}
std::int64_t ToLongLong(double value) noexcept {
    return _mm_cvttsd_si64(_mm_set_sd(value));
}
std::uint64_t ToULongLong(double value) noexcept {
    constexpr double kTopBit = 9223372036854775808.0;
    if (value >= kTopBit) {
        return static_cast<std::uint64_t>(ToLongLong(value - kTopBit)) | std::uint64_t{1} << 63;
    }
    return static_cast<std::uint64_t>(ToLongLong(value));
}

// A null text converts as an empty one.
const char* NumberText(const ZelJSONSlot& slot) noexcept {
    const char* const text = TextOf(slot);
    return text != nullptr ? text : "";
}

template <class... Arguments>
std::string Format(const char* format, Arguments... arguments) {
    char buffer[128];
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    std::snprintf(buffer, sizeof buffer, format, arguments...);
#pragma GCC diagnostic pop
    return buffer;
}

}  // namespace

constinit const ZelJSONValue ZelJSONValue::theNULL{};

ZelJSONValue::ZelJSONValue(ValueType type) noexcept {
    slot_.type = type;
    if (type == stringValue) {
        slot_.aux = kNullText;
    } else if (type > objectValue) {
        ZEL_JSON_MISUSE("0");
    }
}

ZelJSONValue::ZelJSONValue(int value) noexcept {
    slot_.payload.intNumber = value;
    slot_.type = intValue;
}

ZelJSONValue::ZelJSONValue(unsigned int value) noexcept {
    slot_.payload.uintNumber = value;
    slot_.type = uintValue;
}

ZelJSONValue::ZelJSONValue(std::int64_t value) noexcept {
    slot_.payload.longLongNumber = value;
    slot_.type = longLongValue;
}

ZelJSONValue::ZelJSONValue(std::uint64_t value) noexcept {
    slot_.payload.ulongLongNumber = value;
    slot_.type = ulongLongValue;
}

ZelJSONValue::ZelJSONValue(float value) noexcept {
    slot_.payload.floatNumber = value;
    slot_.type = floatValue;
}

ZelJSONValue::ZelJSONValue(double value) noexcept {
    slot_.payload.doubleNumber = value;
    slot_.type = doubleValue;
}

ZelJSONValue::ZelJSONValue(bool value) noexcept {
    slot_.payload.boolean = value;
    slot_.type = booleanValue;
}

ZelJSONValue::ZelJSONValue(const char* text) {
    if (text != nullptr) {
        SetText(slot_, text);
    }
}

ZelJSONValue::ZelJSONValue(const std::string& text) {
    SetText(slot_, UpToZero(text));
}

ZelJSONValue::ZelJSONValue(std::string_view text) {
    SetText(slot_, UpToZero(text));
}

ZelJSONValue::ZelJSONValue(const ZelJSONValue& other) {
    CopyTree(other.slot_, slot_);
}

ZelJSONValue& ZelJSONValue::operator=(const ZelJSONValue& other) {
    ZelJSONValue copy(other);
    Swap(copy);
    return *this;
}

void ZelJSONValue::Clear() noexcept {
    switch (slot_.type) {
        case stringValue:
        case arrayValue:
        case objectValue:
            ReleaseContents(slot_);
            break;
        default:
            if (slot_.type > objectValue) {
                ZEL_JSON_MISUSE("0");
            }
    }
}

ZelJSONValue& ZelJSONValue::operator[](unsigned int index) {
    if (slot_.type == nullValue) {
        ZelJSONValue array(arrayValue);
        ZelJSONValue& added = array[index];
        Swap(array);
        return added;
    }
    if (slot_.type != arrayValue) {
        ZEL_JSON_MISUSE(kNotAnArray);
        return *this;
    }
    return ValueOf(AddElement(slot_, index));
}

ZelJSONValue& ZelJSONValue::operator[](const char* name) {
    if (slot_.type == nullValue) {
        ZelJSONValue object(objectValue);
        ZelJSONValue& added = object[name];
        Swap(object);
        return added;
    }
    if (slot_.type != objectValue) {
        ZEL_JSON_MISUSE(kNotAnObject);
        return *this;
    }
    return ValueOf(AddMember(slot_, ViewOfName(name)));
}

ZelJSONValue& ZelJSONValue::operator[](const std::string& name) {
    if (slot_.type == nullValue) {
        ZelJSONValue object(objectValue);
        ZelJSONValue& added = object[name];
        Swap(object);
        return added;
    }
    if (slot_.type != objectValue) {
        ZEL_JSON_MISUSE(kNotAnObject);
        return *this;
    }
    return ValueOf(AddMember(slot_, name));
}

ZelJSONValue& ZelJSONValue::operator[](std::string_view name) {
    if (slot_.type == nullValue) {
        ZelJSONValue object(objectValue);
        ZelJSONValue& added = object[name];
        Swap(object);
        return added;
    }
    if (slot_.type != objectValue) {
        ZEL_JSON_MISUSE(kNotAnObject);
        return *this;
    }
    return ValueOf(AddMember(slot_, ViewOfName(name)));
}

const ZelJSONValue& ZelJSONValue::operator[](unsigned int index) const {
    if (slot_.type == nullValue) {
        return theNULL;
    }
    if (slot_.type != arrayValue) {
        ZEL_JSON_MISUSE(kNotAnArray);
        return theNULL;
    }
    return ValueOrNull(FindElement(ContainerOf(slot_), index));
}

const ZelJSONValue& ZelJSONValue::operator[](const char* name) const {
    if (slot_.type == nullValue) {
        return theNULL;
    }
    if (slot_.type != objectValue) {
        ZEL_JSON_MISUSE(kNotAnObject);
        return theNULL;
    }
    return ValueOrNull(FindMember(ContainerOf(slot_), ViewOfName(name)));
}

const ZelJSONValue& ZelJSONValue::operator[](const std::string& name) const {
    if (slot_.type == nullValue) {
        return theNULL;
    }
    if (slot_.type != objectValue) {
        ZEL_JSON_MISUSE(kNotAnObject);
        return theNULL;
    }
    return ValueOrNull(FindMember(ContainerOf(slot_), name));
}

const ZelJSONValue& ZelJSONValue::operator[](std::string_view name) const {
    if (slot_.type == nullValue) {
        return theNULL;
    }
    if (slot_.type != objectValue) {
        ZEL_JSON_MISUSE(kNotAnObject);
        return theNULL;
    }
    return ValueOrNull(FindMember(ContainerOf(slot_), ViewOfName(name)));
}

std::uint64_t ZelJSONValue::Size() const noexcept {
    switch (slot_.type) {
        case nullValue:
            return 0;
        case arrayValue:
            return ArraySize(ContainerOf(slot_));
        case objectValue:
            return MemberCount(ContainerOf(slot_));
        default:
            ZEL_JSON_MISUSE("0");
            return 0;
    }
}

bool ZelJSONValue::IsEmpty() const noexcept {
    return IsNULL() || ((IsArray() || IsObject()) && Size() == 0);
}

std::vector<std::string> ZelJSONValue::GetMemberNames() const {
    std::vector<std::string> names;
    if (IsObject() && slot_.payload.container != nullptr) {
        Container& object = *ContainerOf(slot_);
        names.reserve(MemberCount(&object));
        ForEachMember(object,
                      [&](const Key& key, const ZelJSONSlot&) { names.emplace_back(key.View()); });
    } else if (IsArray() && slot_.payload.container != nullptr) {
        Container* const array = ContainerOf(slot_);
        for (ElementRun run = FirstRun(array); run.first != run.last; run = NextRun(array, run)) {
            names.resize(names.size() + static_cast<std::size_t>(run.last - run.first));
        }
    }
    return names;
}

bool ZelJSONValue::AsBool() const noexcept {
    switch (slot_.type) {
        case intValue:
        case uintValue:
            return slot_.payload.uintNumber != 0;
        case longLongValue:
        case ulongLongValue:
            return slot_.payload.ulongLongNumber != 0;
        case floatValue:
            return slot_.payload.floatNumber != 0.0f;
        case doubleValue:
            return slot_.payload.doubleNumber != 0.0;
        case stringValue:
            return *NumberText(slot_) != '\0';
        case booleanValue:
            return slot_.payload.boolean;
        default:
            ZEL_JSON_MISUSE("0");
            return false;
    }
}

int ZelJSONValue::AsInt() const noexcept {
    switch (slot_.type) {
        case intValue:
        case uintValue:
        case longLongValue:
        case ulongLongValue:
            return slot_.payload.intNumber;  // the low 32 bits of the wide ones
        case floatValue:
            return ToInt(slot_.payload.floatNumber);
        case doubleValue:
            return ToInt(slot_.payload.doubleNumber);
        case stringValue:
            return std::atoi(NumberText(slot_));  // NOLINT(cert-err34-c): no check is promised
        case booleanValue:
            return slot_.payload.boolean ? 1 : 0;
        default:
            ZEL_JSON_MISUSE("0");
            return -1;
    }
}

unsigned int ZelJSONValue::AsUInt() const noexcept {
    switch (slot_.type) {
        case intValue:
        case uintValue:
        case longLongValue:
        case ulongLongValue:
            return slot_.payload.uintNumber;
        case floatValue:
            return static_cast<unsigned int>(ToLongLong(slot_.payload.floatNumber));
        case doubleValue:
            return static_cast<unsigned int>(ToLongLong(slot_.payload.doubleNumber));
        case stringValue:
            return static_cast<unsigned int>(std::strtoul(NumberText(slot_), nullptr, 10));
        case booleanValue:
            return slot_.payload.boolean ? 1 : 0;
        default:
            ZEL_JSON_MISUSE("0");
            return 0xFFFFFFFFu;
    }
}

std::int64_t ZelJSONValue::AsLongLong() const noexcept {
    switch (slot_.type) {
        case intValue:
        case uintValue:
            return slot_.payload.intNumber;  // unsigned ones are sign-extended too
        case longLongValue:
        case ulongLongValue:
            return slot_.payload.longLongNumber;
        case floatValue:
            return ToLongLong(slot_.payload.floatNumber);
        case doubleValue:
            return ToLongLong(slot_.payload.doubleNumber);
        case stringValue:
            return std::atoll(NumberText(slot_));  // NOLINT(cert-err34-c): no check is promised
        case booleanValue:
            return slot_.payload.boolean ? 1 : 0;
        default:
            ZEL_JSON_MISUSE("0");
            return -1;
    }
}

std::uint64_t ZelJSONValue::AsULongLong() const noexcept {
    switch (slot_.type) {
        case intValue:
        case uintValue:
            return static_cast<std::uint64_t>(std::int64_t{slot_.payload.intNumber});
        case longLongValue:
        case ulongLongValue:
            return slot_.payload.ulongLongNumber;
        case floatValue:
            return ToULongLong(slot_.payload.floatNumber);
        case doubleValue:
            return ToULongLong(slot_.payload.doubleNumber);
        case stringValue:
            return std::strtoull(NumberText(slot_), nullptr, 10);
        case booleanValue:
            return slot_.payload.boolean ? 1 : 0;
        default:
            ZEL_JSON_MISUSE("0");
            return ~std::uint64_t{0};
    }
}

float ZelJSONValue::AsFloat() const noexcept {
    switch (slot_.type) {
        case intValue:
            return static_cast<float>(slot_.payload.intNumber);
        case uintValue:
            return static_cast<float>(slot_.payload.uintNumber);
        // The signs are crossed, unlike those of AsDouble: callers have come to rely on it.
        case longLongValue:
            return static_cast<float>(slot_.payload.ulongLongNumber);
        case ulongLongValue:
            return static_cast<float>(slot_.payload.longLongNumber);
        case floatValue:
            return slot_.payload.floatNumber;
        case doubleValue:
            return static_cast<float>(slot_.payload.doubleNumber);
        case stringValue:
            return static_cast<float>(
                std::atof(NumberText(slot_)));  // NOLINT(cert-err34-c): as above
        case booleanValue:
            return slot_.payload.boolean ? 1.0f : 0.0f;
        default:
            ZEL_JSON_MISUSE("0");
            return 0.0f;
    }
}

double ZelJSONValue::AsDouble() const noexcept {
    switch (slot_.type) {
        case intValue:
            return slot_.payload.intNumber;
        case uintValue:
            return slot_.payload.uintNumber;
        case longLongValue:
            return static_cast<double>(slot_.payload.longLongNumber);
        case ulongLongValue:
            return static_cast<double>(slot_.payload.ulongLongNumber);
        case floatValue:
            return slot_.payload.floatNumber;
        case doubleValue:
            return slot_.payload.doubleNumber;
        case stringValue:
            return std::atof(NumberText(slot_));  // NOLINT(cert-err34-c): no check is promised
        case booleanValue:
            return slot_.payload.boolean ? 1.0 : 0.0;
        default:
            ZEL_JSON_MISUSE("0");
            return 0.0;
    }
}

std::string ZelJSONValue::AsString() const {
    switch (slot_.type) {
        case nullValue:
            return {};
        case intValue:
            return Format("%i", slot_.payload.intNumber);
        case uintValue:
            return Format("%u", slot_.payload.uintNumber);
        case longLongValue:
            return Format("%lld", static_cast<long long>(slot_.payload.longLongNumber));
        case ulongLongValue:
            return Format("%llu", static_cast<unsigned long long>(slot_.payload.ulongLongNumber));
        case floatValue:
            return Format("%f", static_cast<double>(slot_.payload.floatNumber));
        case doubleValue:
            return Format("%f", slot_.payload.doubleNumber);
        case stringValue:
            return std::string(AsStringView());
        case booleanValue:
            return slot_.payload.boolean ? "1" : "0";
        default:
            ZEL_JSON_MISUSE("0");
            return {};
    }
}

std::string_view ZelJSONValue::AsStringView() const noexcept {
    if (slot_.type != stringValue || TextOf(slot_) == nullptr) {
        return {};
    }
    return ViewOf(slot_);
}
