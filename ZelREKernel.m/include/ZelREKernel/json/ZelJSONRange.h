#pragma once

// Range-for over the elements of an array and the members of an object:
//
//   for (const ZelJSONValue& element : ZelJSONElements(array)) ...
//   for (auto [name, value] : ZelJSONMembers(object)) ...
//
// Elements come in order of their indices (existing ones only; Index() of the iterator tells
// which), members in order of their names. Any other kind of value is an empty range. A writable
// value gives writable ones. An iterator is void once its container is added to, cleared or
// assigned.
//
// As safe between threads as the value: several may go through a const one that nobody changes.

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string_view>
#include <type_traits>

#include "ZelREKernel/json/ZelJSONValue.h"

// A place between the elements of an array.
class ZELREKERNEL_EXPORT ZelJSONElementCursor {
public:
    ZelJSONElementCursor() noexcept = default;
    // At the first element. `write`: the elements may be assigned to.
    ZelJSONElementCursor(const ZelJSONSlot& array, bool write) noexcept;

    bool AtEnd() const noexcept { return slot_ == nullptr; }  // behind the last element
    ZelJSONSlot* Slot() const noexcept { return slot_; }      // the element; null at the end
    // The element's index; not at the end.
    std::uint32_t Index() const noexcept {
        return first_ + static_cast<std::uint32_t>(slot_ - run_);
    }
    // To the next element that exists; not at the end.
    void Next() noexcept {
        if (++slot_ == end_) {
            NextRun();
        }
    }

private:
    void NextRun() noexcept;

    ZelJSONSlot* slot_ = nullptr;
    ZelJSONSlot* end_ = nullptr;
    ZelJSONSlot* run_ = nullptr;
    std::uint32_t first_ = 0;
    std::uint32_t segment_ = 0;
    void* array_ = nullptr;
};

// A place between the members of an object.
class ZELREKERNEL_EXPORT ZelJSONMemberCursor {
public:
    ZelJSONMemberCursor() noexcept = default;
    // At the first member. `write`: the values may be assigned to.
    ZelJSONMemberCursor(const ZelJSONSlot& object, bool write) noexcept;

    bool AtEnd() const noexcept { return slot_ == nullptr; }  // behind the last member
    ZelJSONSlot* Slot() const noexcept { return slot_; }      // its value; null at the end
    // Valid as long as the member is.
    std::string_view Name() const noexcept { return name_; }
    // To the next member; not at the end.
    void Next() noexcept;

private:
    void Settle() noexcept;

    ZelJSONSlot* slot_ = nullptr;
    std::string_view name_;
    void* member_ = nullptr;  // the next one of the run, and the run's end
    void* end_ = nullptr;
    void* added_ = nullptr;  // the next one of the members added later, and their end
    void* addedEnd_ = nullptr;
    bool fromRun_ = false;
};

// What a range of members yields.
template <class Value>
struct ZelJSONMember {
    std::string_view name;  // valid as long as the member is
    Value& value;           // the member's own, not a copy
};

namespace ZelJSON {

// What both ranges share: an input iterator that ends at std::default_sentinel.
template <class Cursor, class Value>
class RangeIterator {
public:
    // What the standard library asks of an iterator:
    using iterator_concept = std::input_iterator_tag;
    using difference_type = std::ptrdiff_t;
    static constexpr bool kMembers = std::is_same_v<Cursor, ZelJSONMemberCursor>;
    using value_type =
        std::conditional_t<kMembers, ZelJSONMember<Value>, std::remove_const_t<Value>>;

    RangeIterator() noexcept = default;
    // At the first entry; a container of another kind has none.
    explicit RangeIterator(Value& container) noexcept
        : cursor_(container.GetSlot(), !std::is_const_v<Value>) {}

    // The entry that it is at.
    decltype(auto) operator*() const noexcept {
        // A value is its slot and nothing else.
        auto& value = reinterpret_cast<Value&>(*cursor_.Slot());
        if constexpr (kMembers) {
            return ZelJSONMember<Value>{cursor_.Name(), value};
        } else {
            return static_cast<Value&>(value);
        }
    }
    // To the next entry:
    RangeIterator& operator++() noexcept {
        cursor_.Next();
        return *this;
    }
    void operator++(int) noexcept { cursor_.Next(); }
    // The element's index.
    std::uint32_t Index() const noexcept requires(!kMembers) { return cursor_.Index(); }
    // Whether it is behind the last entry.
    friend bool operator==(const RangeIterator& at, std::default_sentinel_t) noexcept {
        return at.cursor_.AtEnd();
    }

private:
    Cursor cursor_;
};

}  // namespace ZelJSON

// The elements of an array, which must outlive the range.
template <class Value>
class ZelJSONElements {
public:
    // Borrows the value, of any kind.
    explicit ZelJSONElements(Value& array) noexcept : array_(array) {}
    // For range-for:
    auto begin() const noexcept {
        return ZelJSON::RangeIterator<ZelJSONElementCursor, Value>(array_);
    }
    std::default_sentinel_t end() const noexcept { return {}; }

private:
    Value& array_;
};

// The members of an object, which must outlive the range.
template <class Value>
class ZelJSONMembers {
public:
    // Borrows the value, of any kind.
    explicit ZelJSONMembers(Value& object) noexcept : object_(object) {}
    // For range-for:
    auto begin() const noexcept {
        return ZelJSON::RangeIterator<ZelJSONMemberCursor, Value>(object_);
    }
    std::default_sentinel_t end() const noexcept { return {}; }

private:
    Value& object_;
};
