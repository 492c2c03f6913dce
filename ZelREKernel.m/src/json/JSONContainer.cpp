#include "json/JSONContainer.h"

#include <bit>

namespace ZelJSON {
namespace {

constexpr std::uint32_t kFirstSegment = 8;
constexpr std::uint32_t kGrowing = 9;  // segments of 8, 16, ... 2048 elements
constexpr std::uint32_t kLargestSegment = kFirstSegment << kGrowing;
constexpr std::uint32_t kInGrowing = kLargestSegment - kFirstSegment;
constexpr std::uint16_t kFirstRunOfArray = 4;

struct Place {
    std::uint32_t segment;
    std::uint32_t offset;
};

// Where element `index` of the segments stands.
Place PlaceOf(std::uint32_t index) noexcept {
    if (index >= kInGrowing) {
        const std::uint32_t behind = index - kInGrowing;
        return {kGrowing + behind / kLargestSegment, behind % kLargestSegment};
    }
    const auto segment = static_cast<std::uint32_t>(std::bit_width(index / kFirstSegment + 1)) - 1;
    return {segment, index - kFirstSegment * ((1u << segment) - 1)};
}

std::uint32_t SegmentSize(std::uint32_t segment) noexcept {
    return segment < kGrowing ? kFirstSegment << segment : kLargestSegment;
}

ArrayExtension& ExtendArray(Container& array) {
    if (!array.Has(Container::kExtended)) {
        array.extension = ::new (Allocate(sizeof(ArrayExtension))) ArrayExtension;
        array.flags |= Container::kExtended;
    }
    return *array.ArrayTail();
}

// The element right behind the last one of an array that is dense.
ZelJSONSlot& AppendElement(Container& array) {
    if (array.count < array.capacity) {
        return *::new (array.Slots() + array.count++) ZelJSONSlot;
    }
    ArrayExtension& tail = ExtendArray(array);
    const Place place = PlaceOf(tail.dense);
    if (place.segment == tail.segments.size()) {
        tail.segments.reserve(std::bit_ceil(tail.segments.size() + 1));
        tail.segments.push_back(
            static_cast<ZelJSONSlot*>(Allocate(SegmentSize(place.segment) * sizeof(ZelJSONSlot))));
    }
    ++tail.dense;
    return *::new (tail.segments[place.segment] + place.offset) ZelJSONSlot;
}

// The run's first member whose name is not less.
std::uint32_t LowerBound(Container& object, std::string_view name) noexcept {
    const std::uint64_t prefix = PrefixOf(name);
    const Member* const members = object.Members();
    std::uint32_t first = 0;
    std::uint32_t count = object.count;
    while (count > 0) {
        const std::uint32_t half = count / 2;
        const Key& key = members[first + half].key;
        const std::uint64_t here = key.Prefix();
        if (here < prefix || (here == prefix && key.View() < name)) {
            first += half + 1;
            count -= half + 1;
        } else {
            count = half;
        }
    }
    return first;
}

// A key of its own for a tree; Free gives a long one back.
Key OwnKey(std::string_view name) {
    if (name.size() <= Key::kInline) {
        return Key(name);
    }
    if (name.size() > UINT32_MAX) {
        throw std::bad_alloc();
    }
    char* const text = static_cast<char*>(Allocate(name.size()));
    std::memcpy(text, name.data(), name.size());
    return Key(std::string_view(text, name.size()));
}

}  // namespace

Container* NewContainerOnHeap(std::size_t bytes, std::uint16_t flags) {
    auto* const container = ::new (Allocate(sizeof(Container) + bytes)) Container;
    container->flags = flags;
    return container;
}

void FreeExtension(Container& container) noexcept {
    if (container.Has(Container::kOfMembers)) {
        ObjectExtension* const tail = container.ObjectTail();
        for (const auto& [key, value] : tail->added) {
            if (key.IsLong()) {
                Free(const_cast<char*>(key.longer.pointer));
            }
        }
        tail->~ObjectExtension();
        Free(tail);
    } else {
        ArrayExtension* const tail = container.ArrayTail();
        for (ZelJSONSlot* const segment : tail->segments) {
            Free(segment);
        }
        tail->~ArrayExtension();
        Free(tail);
    }
}

ZelJSONSlot* FindElement(Container* array, std::uint32_t index) noexcept {
    if (array == nullptr) {
        return nullptr;
    }
    if (index < array->count) {
        return array->Slots() + index;
    }
    ArrayExtension* const tail = array->ArrayTail();
    if (tail == nullptr) {
        return nullptr;
    }
    if (index - array->count < tail->dense) {
        const Place place = PlaceOf(index - array->count);
        return tail->segments[place.segment] + place.offset;
    }
    return tail->sparse.Find(index);
}

ZelJSONSlot& AddElement(ZelJSONSlot& array, std::uint32_t index) {
    Container* container = ContainerOf(array);
    if (container == nullptr) {
        container = NewContainerOnHeap(kFirstRunOfArray * sizeof(ZelJSONSlot), 0);
        container->capacity = kFirstRunOfArray;
        array.payload.container = container;
    }
    container->flags = static_cast<std::uint16_t>(container->flags & ~Container::kPlain);
    if (ZelJSONSlot* const found = FindElement(container, index)) {
        return *found;
    }
    const ArrayExtension* const tail = container->ArrayTail();
    const std::uint32_t dense = container->count + (tail != nullptr ? tail->dense : 0);
    if (index == dense && (tail == nullptr || tail->sparse.IsEmpty())) {
        return AppendElement(*container);
    }
    // The run stays as it is from here on, so that every sparse element lies behind the dense ones.
    return ExtendArray(*container).sparse.Add(index);
}

void AppendElements(ZelJSONSlot& array, ZelJSONSlot* elements, std::uint32_t count) {
    if (ContainerOf(array) == nullptr) {
        array.payload.container = NewContainerOnHeap(kLongestRun * sizeof(ZelJSONSlot), 0);
        ContainerOf(array)->capacity = kLongestRun;
    }
    Container& container = *ContainerOf(array);
    for (std::uint32_t i = 0; i < count; ++i) {
        AppendElement(container) = elements[i];
        elements[i] = ZelJSONSlot();
    }
}

std::uint64_t ArraySize(Container* array) noexcept {
    if (array == nullptr) {
        return 0;
    }
    const ArrayExtension* const tail = array->ArrayTail();
    if (tail == nullptr) {
        return array->count;
    }
    return tail->sparse.IsEmpty() ? std::uint64_t{array->count} + tail->dense
                                  : std::uint64_t{tail->sparse.Last()} + 1;
}

ZelJSONSlot* FindMember(Container* object, std::string_view name) noexcept {
    if (object == nullptr) {
        return nullptr;
    }
    const std::uint32_t at = LowerBound(*object, name);
    if (at < object->count && object->Members()[at].key.View() == name) {
        return &object->Members()[at].value;
    }
    if (ObjectExtension* const tail = object->ObjectTail()) {
        const auto found = tail->added.find(name);
        return found != tail->added.end() ? &found->second : nullptr;
    }
    return nullptr;
}

ZelJSONSlot& AddMember(ZelJSONSlot& object, std::string_view name) {
    if (ContainerOf(object) == nullptr) {
        object.payload.container = NewContainerOnHeap(0, Container::kOfMembers);
    }
    Container* const container = ContainerOf(object);
    container->flags = static_cast<std::uint16_t>(container->flags & ~Container::kPlain);
    const std::uint32_t at = LowerBound(*container, name);
    if (at < container->count && container->Members()[at].key.View() == name) {
        return container->Members()[at].value;
    }
    if (!container->Has(Container::kExtended)) {
        container->extension = ::new (Allocate(sizeof(ObjectExtension))) ObjectExtension;
        container->flags |= Container::kExtended;
    }
    MemberMap& added = container->ObjectTail()->added;
    const auto place = added.lower_bound(name);
    if (place != added.end() && place->first.View() == name) {
        return place->second;
    }
    const Key key = OwnKey(name);
    try {
        return added.emplace_hint(place, key, ZelJSONSlot())->second;
    } catch (...) {
        if (key.IsLong()) {
            Free(const_cast<char*>(key.longer.pointer));
        }
        throw;
    }
}

std::uint64_t MemberCount(Container* object) noexcept {
    if (object == nullptr) {
        return 0;
    }
    const ObjectExtension* const tail = object->ObjectTail();
    return object->count + (tail != nullptr ? tail->added.size() : 0);
}

ElementRun FirstRun(Container* array) noexcept {
    if (array == nullptr) {
        return {};
    }
    if (array->count == 0) {
        return NextRun(array, {});
    }
    return {array->Slots(), array->Slots() + array->count, 0, 0};
}

ElementRun NextRun(Container* array, const ElementRun& run) noexcept {
    ArrayExtension* const tail = array->ArrayTail();
    if (tail == nullptr) {
        return {};
    }
    const std::uint32_t index = run.index + static_cast<std::uint32_t>(run.last - run.first);
    if (index == 0 && run.first != nullptr) {
        return {};  // the last stretch ended at the largest index of all
    }
    const std::uint32_t inTail = index - array->count;
    if (inTail < tail->dense) {
        const std::uint32_t left = tail->dense - inTail;
        const std::uint32_t size = SegmentSize(run.segment);
        ZelJSONSlot* const first = tail->segments[run.segment];
        return {first, first + (left < size ? left : size), index, run.segment + 1};
    }
    const SparseElements::Stretch stretch = tail->sparse.Next(index);
    return {stretch.slots, stretch.slots + stretch.count, stretch.index, run.segment};
}

}  // namespace ZelJSON
