#include "ZelREKernel/json/ZelJSONRange.h"

#include <bit>

#include "json/JSONContainer.h"

namespace {

using namespace ZelJSON;

using Added = MemberMap::iterator;
static_assert(sizeof(Added) == sizeof(void*));

Container* ReadableContainer(const ZelJSONSlot& slot, Type type, bool write) noexcept {
    Container* const container = slot.type == type ? ContainerOf(slot) : nullptr;
    if (container != nullptr && write) {
        container->flags = static_cast<std::uint16_t>(container->flags & ~Container::kPlain);
    }
    return container;
}

}  // namespace

ZelJSONElementCursor::ZelJSONElementCursor(const ZelJSONSlot& array, bool write) noexcept {
    Container* const container = ReadableContainer(array, kArray, write);
    const ElementRun run = FirstRun(container);
    array_ = container;
    slot_ = run_ = run.first;
    end_ = run.last;
    first_ = run.index;
    segment_ = run.segment;
}

void ZelJSONElementCursor::NextRun() noexcept {
    const ElementRun run =
        ZelJSON::NextRun(static_cast<Container*>(array_), {run_, end_, first_, segment_});
    slot_ = run_ = run.first;
    end_ = run.last;
    first_ = run.index;
    segment_ = run.segment;
}

ZelJSONMemberCursor::ZelJSONMemberCursor(const ZelJSONSlot& object, bool write) noexcept {
    Container* const container = ReadableContainer(object, kObject, write);
    if (container == nullptr) {
        return;
    }
    member_ = container->Members();
    end_ = container->Members() + container->count;
    if (ObjectExtension* const tail = container->ObjectTail()) {
        added_ = std::bit_cast<void*>(tail->added.begin());
        addedEnd_ = std::bit_cast<void*>(tail->added.end());
    }
    Settle();
}

// Stands on the smaller of the two next members.
void ZelJSONMemberCursor::Settle() noexcept {
    Member* const member = static_cast<Member*>(member_);
    fromRun_ = member_ != end_;
    if (added_ != addedEnd_) {
        const auto added = std::bit_cast<Added>(added_);
        if (!fromRun_ || added->first.View() < member->key.View()) {
            fromRun_ = false;
            name_ = added->first.View();
            slot_ = &added->second;
            return;
        }
    }
    slot_ = fromRun_ ? &member->value : nullptr;
    name_ = fromRun_ ? member->key.View() : std::string_view();
}

void ZelJSONMemberCursor::Next() noexcept {
    if (fromRun_) {
        member_ = static_cast<Member*>(member_) + 1;
    } else {
        added_ = std::bit_cast<void*>(std::next(std::bit_cast<Added>(added_)));
    }
    Settle();
}
