#pragma once

// One value of a JSON document: null, a number of one of six kinds, a string, a boolean, an array
// or an object. Arrays are sparse: an element exists once it was asked for by the writable
// operator[]. Members of an object stand in bytewise order of their names. References to elements
// and members stay valid while others are added. Misuse is reported to the assertion sink and
// answered with a stated fallback; only the lack of memory throws (std::bad_alloc) and leaves the
// value as it was.
//
// A value and its tree belong to one thread at a time. Reading a tree that nobody changes is safe
// from any thread as long as all read through const, since a writable look-up or iteration takes
// notes in the tree; and so are two trees on two threads, whatever they were made of.

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "ZelREKernel/ZelREKernelExport.h"
#include "ZelREKernel/json/ZelJSONSlot.h"

// The type among int, unsigned int, std::int64_t and std::uint64_t that has the values of `Long`.
template <typename Long>
using ZelJSONLongOf =
    std::conditional_t<sizeof(Long) == sizeof(int),
                       std::conditional_t<std::is_signed_v<Long>, int, unsigned int>,
                       std::conditional_t<std::is_signed_v<Long>, std::int64_t, std::uint64_t>>;

// The long integers that are none of the four themselves; which ones, differs between systems.
template <typename Long>
concept ZelJSONOtherLong =
    !std::same_as<Long, ZelJSONLongOf<Long>> &&
    (std::same_as<Long, long> || std::same_as<Long, unsigned long> ||
     std::same_as<Long, long long> || std::same_as<Long, unsigned long long>);

class ZELREKERNEL_EXPORT ZelJSONValue {
public:
    // The kinds of values; the numbers are stable.
    enum ValueType : std::uint32_t {
        nullValue = 0,
        intValue = 1,
        uintValue = 2,
        longLongValue = 3,
        ulongLongValue = 4,
        floatValue = 5,
        doubleValue = 6,
        stringValue = 7,
        booleanValue = 8,
        arrayValue = 9,
        objectValue = 10
    };

    // What read-only lookups return when there is nothing: a null.
    static const ZelJSONValue theNULL;

    constexpr ZelJSONValue() noexcept = default;
    // A zero of that type: a null text, an empty array, an empty object. Unknown types are
    // reported.
    ZelJSONValue(ValueType type) noexcept;
    ZelJSONValue(int value) noexcept;
    ZelJSONValue(unsigned int value) noexcept;
    ZelJSONValue(std::int64_t value) noexcept;
    ZelJSONValue(std::uint64_t value) noexcept;
    ZelJSONValue(float value) noexcept;
    ZelJSONValue(double value) noexcept;
    ZelJSONValue(bool value) noexcept;
    // As the integer of the same width and sign.
    template <ZelJSONOtherLong Long>
    ZelJSONValue(Long value) noexcept : ZelJSONValue(static_cast<ZelJSONLongOf<Long>>(value)) {}
    // A copy of the text; a null pointer gives a null value, not an empty string.
    ZelJSONValue(const char* text);
    // These two copy up to the first zero byte.
    ZelJSONValue(const std::string& text);
    ZelJSONValue(std::string_view text);
    // Deep copy. Its depth costs memory, not stack.
    ZelJSONValue(const ZelJSONValue& other);
    // The source becomes null.
    ZelJSONValue(ZelJSONValue&& other) noexcept : slot_(other.slot_) {
        other.slot_ = ZelJSONSlot();
    }
    ZelJSONValue& operator=(const ZelJSONValue& other);
    // Exchanges the contents: the source receives the old ones.
    ZelJSONValue& operator=(ZelJSONValue&& other) noexcept {
        Swap(other);
        return *this;
    }
    ~ZelJSONValue() {
        if (slot_.type >= stringValue) {
            Clear();
        }
    }

    // The writable element or member. A null value becomes an array or object first, and what is
    // absent is inserted as null. A value of another kind is reported, and returned itself.
    // Logarithmic at worst; constant for an array that was filled from index 0 up.
    ZelJSONValue& operator[](unsigned int index);
    ZelJSONValue& operator[](const char* name);
    ZelJSONValue& operator[](const std::string& name);
    ZelJSONValue& operator[](std::string_view name);
    // The element or member, or theNULL when it is absent; a value of another kind is reported.
    const ZelJSONValue& operator[](unsigned int index) const;
    const ZelJSONValue& operator[](const char* name) const;
    const ZelJSONValue& operator[](const std::string& name) const;
    const ZelJSONValue& operator[](std::string_view name) const;
    // Other integers, a plain 0 above all, which is a null pointer as well.
    template <std::integral Index>
    ZelJSONValue& operator[](Index index) {
        return (*this)[static_cast<unsigned int>(index)];
    }
    template <std::integral Index>
    const ZelJSONValue& operator[](Index index) const {
        return (*this)[static_cast<unsigned int>(index)];
    }

    // Exchanges the two; references into either tree stay valid and go along.
    void Swap(ZelJSONValue& other) noexcept {
        const ZelJSONSlot mine = slot_;
        slot_ = other.slot_;
        other.slot_ = mine;
    }
    // Releases what the value owns. The type stays: assign before further use.
    void Clear() noexcept;

    // The kind, and whether it is a certain one; the six kinds of numbers are not taken for each
    // other:
    ValueType GetValueType() const noexcept { return static_cast<ValueType>(slot_.type); }
    bool IsNULL() const noexcept { return slot_.type == nullValue; }
    bool IsInt() const noexcept { return slot_.type == intValue; }
    bool IsUInt() const noexcept { return slot_.type == uintValue; }
    bool IsLongLong() const noexcept { return slot_.type == longLongValue; }
    bool IsULongLong() const noexcept { return slot_.type == ulongLongValue; }
    bool IsFloat() const noexcept { return slot_.type == floatValue; }
    bool IsDouble() const noexcept { return slot_.type == doubleValue; }
    bool IsString() const noexcept { return slot_.type == stringValue; }
    bool IsBool() const noexcept { return slot_.type == booleanValue; }
    bool IsArray() const noexcept { return slot_.type == arrayValue; }
    bool IsObject() const noexcept { return slot_.type == objectValue; }
    bool operator!() const noexcept { return IsNULL(); }

    // An array's largest index plus one, an object's number of members, 0 for null. Scalars are
    // reported and give 0.
    std::uint64_t Size() const noexcept;
    // True for null and for an array or object of size 0.
    bool IsEmpty() const noexcept;
    // An object's member names in order; one empty name for each existing element of an array.
    std::vector<std::string> GetMemberNames() const;

    // Conversions truncate as the machine does and check no range. Strings go through the C
    // library's atoi, strtoul, atoll, strtoull and atof. Arrays, objects and nulls are reported and
    // give false, -1, all bits set, or 0.0. docs/json.md has the table with its oddities:
    bool AsBool() const noexcept;
    int AsInt() const noexcept;
    unsigned int AsUInt() const noexcept;
    std::int64_t AsLongLong() const noexcept;
    std::uint64_t AsULongLong() const noexcept;
    float AsFloat() const noexcept;
    double AsDouble() const noexcept;
    // The text of a string; numbers as printf writes them, cut to 127 characters; "1" or "0" for a
    // boolean; empty for null. Arrays and objects are reported and give an empty text.
    std::string AsString() const;
    // The text of a string without a copy, zero-terminated, valid until the value is changed or
    // moved; empty for any other kind, without a report.
    std::string_view AsStringView() const noexcept;

    // The plain words, for code that walks whole trees.
    const ZelJSONSlot& GetSlot() const noexcept { return slot_; }

private:
    template <class Value>
    friend class ZelJSONElements;
    template <class Value>
    friend class ZelJSONMembers;
    friend class ZelJSONReader;

    ZelJSONSlot slot_;
};

static_assert(sizeof(ZelJSONValue) == 16);
