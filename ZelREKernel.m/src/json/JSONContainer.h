#pragma once

// What an array or object owns. A header is followed by the run: the elements from index 0 up, or
// the members in order of their names, as the reader or a copy left them. A run never moves and
// its members are never reordered, since references into it must stay valid; what is added later
// goes into the extension: more elements in segments while the array stays dense, and a tree each
// for sparse elements and for members. An empty container is a null pointer.

#include <cstddef>
#include <cstdint>
#include <map>
#include <new>
#include <string_view>
#include <vector>

#include "json/JSONBlock.h"
#include "json/JSONText.h"
#include "json/SparseElements.h"

namespace ZelJSON {

// Hands the default allocator to the standard containers.
template <class T>
struct HeapAllocator {
    using value_type = T;
    HeapAllocator() = default;
    template <class U>
    HeapAllocator(const HeapAllocator<U>&) noexcept {}
    T* allocate(std::size_t n) {
        if (n > SIZE_MAX / sizeof(T)) {
            throw std::bad_array_new_length();
        }
        return static_cast<T*>(Allocate(n * sizeof(T)));
    }
    void deallocate(T* p, std::size_t) noexcept { Free(p); }
    bool operator==(const HeapAllocator&) const noexcept { return true; }
};

// By bytes; the empty name comes before all others.
struct KeyLess {
    using is_transparent = void;
    bool operator()(const Key& a, const Key& b) const noexcept { return a.View() < b.View(); }
    bool operator()(const Key& a, std::string_view b) const noexcept { return a.View() < b; }
    bool operator()(std::string_view a, const Key& b) const noexcept { return a < b.View(); }
};

using MemberMap =
    std::map<Key, ZelJSONSlot, KeyLess, HeapAllocator<std::pair<const Key, ZelJSONSlot>>>;

struct Container;

struct Extension {
    Container* next = nullptr;  // while the tree is being released
};

struct ArrayExtension : Extension {
    // Segment k of the dense part holds 8 << k elements up to 4096, and 4096 from then on.
    std::vector<ZelJSONSlot*, HeapAllocator<ZelJSONSlot*>> segments;
    std::uint32_t dense = 0;  // elements in the segments
    SparseElements sparse;    // all of them behind the dense part
};

struct ObjectExtension : Extension {
    MemberMap added;
};

struct Member {
    Key key;
    ZelJSONSlot value;
};

struct Container {
    enum Flags : std::uint16_t {
        kBlockUnits = 0x0FFF,  // how far the container lies behind its block's start
        kHomeInBlock = 0x1000,
        kExtended = 0x2000,
        kPlain = 0x4000,  // nothing in the run owns anything
        kOfMembers = 0x8000
    };

    std::uint32_t count = 0;     // in the run
    std::uint16_t capacity = 0;  // of an array's run
    std::uint16_t flags = 0;
    union {
        Extension* extension = nullptr;
        Container* next;  // while the tree is being released, unless it is extended
    };

    bool Has(Flags flag) const noexcept { return (flags & flag) != 0; }
    ZelJSONSlot* Slots() noexcept { return reinterpret_cast<ZelJSONSlot*>(this + 1); }
    Member* Members() noexcept { return reinterpret_cast<Member*>(this + 1); }
    ArrayExtension* ArrayTail() noexcept {
        return Has(kExtended) ? static_cast<ArrayExtension*>(extension) : nullptr;
    }
    ObjectExtension* ObjectTail() noexcept {
        return Has(kExtended) ? static_cast<ObjectExtension*>(extension) : nullptr;
    }
};
static_assert(sizeof(Container) == 16);

// An array's run holds at most this many elements; the rest goes into segments.
constexpr std::uint32_t kLongestRun = 0xFFFF;

inline Container* ContainerOf(const ZelJSONSlot& slot) noexcept {
    return static_cast<Container*>(slot.payload.container);
}

// A container with room for `bytes` behind its header. Throws std::bad_alloc.
Container* NewContainerOnHeap(std::size_t bytes, std::uint16_t flags);
inline Container* NewContainer(std::size_t bytes, std::uint16_t flags, BlockWriter& blocks) {
    const std::size_t size = sizeof(Container) + bytes;
    if (size > BlockWriter::kLargestPiece) {
        return NewContainerOnHeap(bytes, flags);
    }
    auto* const container = ::new (blocks.Piece(size)) Container;
    container->flags =
        static_cast<std::uint16_t>(flags | Container::kHomeInBlock | blocks.Units(container));
    return container;
}

// Gives back an extension whose contents are gone.
void FreeExtension(Container& container) noexcept;
// Gives back the memory of a container whose contents are gone. Returns the block that has to be
// told instead, or null.
inline Block* FreeContainer(Container* container) noexcept {
    if (container->Has(Container::kExtended)) {
        FreeExtension(*container);
    }
    if (container->Has(Container::kHomeInBlock)) {
        return Block::Of(container, container->flags & Container::kBlockUnits);
    }
    Free(container);
    return nullptr;
}

// Elements of an array slot. Find returns null for an absent one, Add finds or inserts a null one.
ZelJSONSlot* FindElement(Container* array, std::uint32_t index) noexcept;
ZelJSONSlot& AddElement(ZelJSONSlot& array, std::uint32_t index);
// Moves `count` elements behind those of an array slot whose elements are dense. What was moved
// when an exception ends it is null in `elements`.
void AppendElements(ZelJSONSlot& array, ZelJSONSlot* elements, std::uint32_t count);
std::uint64_t ArraySize(Container* array) noexcept;

// Members of an object slot, likewise.
ZelJSONSlot* FindMember(Container* object, std::string_view name) noexcept;
ZelJSONSlot& AddMember(ZelJSONSlot& object, std::string_view name);
std::uint64_t MemberCount(Container* object) noexcept;

// Calls visit(const Key&, ZelJSONSlot&) for every member in order of the names.
template <class Visit>
void ForEachMember(Container& object, Visit&& visit) {
    Member* member = object.Members();
    Member* const end = member + object.count;
    if (ObjectExtension* const tail = object.ObjectTail()) {
        for (auto& [key, value] : tail->added) {
            for (; member != end && member->key.View() < key.View(); ++member) {
                visit(member->key, member->value);
            }
            visit(key, value);
        }
    }
    for (; member != end; ++member) {
        visit(member->key, member->value);
    }
}

// A stretch of consecutive existing elements.
struct ElementRun {
    ZelJSONSlot* first = nullptr;
    ZelJSONSlot* last = nullptr;
    std::uint32_t index = 0;  // of the first
    std::uint32_t segment = 0;
};
// The first stretch, and the one after another; empty at the end.
ElementRun FirstRun(Container* array) noexcept;
ElementRun NextRun(Container* array, const ElementRun& run) noexcept;

}  // namespace ZelJSON
