#include "json/JSONTree.h"

#include <algorithm>
#include <vector>

#include "json/JSONContainer.h"

namespace ZelJSON {
namespace {

// Containers wait for their turn in a list threaded through themselves, so that giving back a tree
// needs neither memory nor stack. Pieces of one block are given back together.
class Releaser {
public:
    ~Releaser() {
        if (block_ != nullptr) {
            block_->Release(count_);
        }
    }

    void Take(const ZelJSONSlot& slot) noexcept {
        if (slot.type == kString) {
            TakeText(slot);
        } else if (slot.type == kArray || slot.type == kObject) {
            if (Container* const container = ContainerOf(slot)) {
                if (container->Has(Container::kPlain) && container->Has(Container::kHomeInBlock) &&
                    !container->Has(Container::kExtended)) {
                    Count(FreeContainer(container));
                } else {
                    Next(*container) = pending_;
                    pending_ = container;
                }
            }
        }
    }

    void Run() noexcept {
        while (Container* const container = pending_) {
            pending_ = Next(*container);
            TakeContents(*container);
            if (Block* const block = FreeContainer(container)) {
                Count(block);
            }
        }
    }

private:
    static Container*& Next(Container& container) noexcept {
        return container.Has(Container::kExtended) ? container.extension->next : container.next;
    }

    void Count(Block* block) noexcept {
        if (block != block_) {
            if (block_ != nullptr) {
                block_->Release(count_);
            }
            block_ = block;
            count_ = 0;
        }
        ++count_;
    }

    void TakeText(const ZelJSONSlot& slot) noexcept {
        if (slot.aux >= kInBlock) {
            Count(Block::Of(slot.payload.text, slot.aux >> 12 & 0xFFF));
        } else if (!IsInline(slot)) {
            Free(slot.payload.text);
        }
    }

    void TakeContents(Container& container) noexcept {
        if (container.Has(Container::kOfMembers)) {
            if (!container.Has(Container::kPlain)) {
                Member* const members = container.Members();
                for (std::uint32_t i = 0; i < container.count; ++i) {
                    Take(members[i].value);
                }
            }
            if (ObjectExtension* const tail = container.ObjectTail()) {
                for (const auto& [key, value] : tail->added) {
                    Take(value);
                }
            }
            return;
        }
        if (container.Has(Container::kPlain) && !container.Has(Container::kExtended)) {
            return;
        }
        for (ElementRun run = FirstRun(&container); run.first != run.last;
             run = NextRun(&container, run)) {
            std::for_each(run.first, run.last, [this](const ZelJSONSlot& slot) { Take(slot); });
        }
    }

    Container* pending_ = nullptr;
    Block* block_ = nullptr;
    std::uint32_t count_ = 0;
};

// Copies into blocks, container by container. Until its contents are copied, a slot of the copy
// is null, so a copy that runs out of memory can be given back like any tree.
class Copier {
public:
    explicit Copier(std::size_t expected) noexcept : blocks_(expected) {}

    void Run(const ZelJSONSlot& from, ZelJSONSlot& to) {
        Copy(from, to);
        while (!pending_.empty()) {
            const Pair pair = pending_.back();
            pending_.pop_back();
            if (pair.from->type == kArray) {
                CopyArray(*ContainerOf(*pair.from), *pair.to);
            } else {
                CopyObject(*ContainerOf(*pair.from), *pair.to);
            }
        }
    }

private:
    struct Pair {
        const ZelJSONSlot* from;
        ZelJSONSlot* to;
    };

    void Copy(const ZelJSONSlot& from, ZelJSONSlot& to) {
        if (from.type == kString && !IsInline(from)) {
            if (from.payload.text != nullptr) {
                SetText(to, ViewOf(from), blocks_);
                return;
            }
        } else if (from.type == kArray || from.type == kObject) {
            to.type = from.type;
            if (from.payload.container != nullptr) {
                pending_.push_back({&from, &to});
            }
            return;
        }
        to = from;
    }

    void CopyArray(Container& from, ZelJSONSlot& to) {
        const ArrayExtension* const tail = from.ArrayTail();
        const std::uint32_t dense = from.count + (tail != nullptr ? tail->dense : 0);
        const std::uint32_t inRun = std::min(dense, kLongestRun);
        Container* const copy = NewContainer(inRun * sizeof(ZelJSONSlot), 0, blocks_);
        copy->capacity = static_cast<std::uint16_t>(inRun);
        to.payload.container = copy;
        for (ElementRun run = FirstRun(&from); run.first != run.last; run = NextRun(&from, run)) {
            std::uint32_t index = run.index;
            for (const ZelJSONSlot* slot = run.first; slot != run.last; ++slot) {
                Copy(*slot, AddElement(to, index++));
            }
        }
    }

    void CopyObject(Container& from, ZelJSONSlot& to) {
        std::size_t names = 0;
        const std::uint64_t count = MemberCount(&from);
        ForEachMember(from, [&](const Key& key, const ZelJSONSlot&) {
            names += key.IsLong() ? key.longer.length : 0;
        });
        Container* const copy =
            NewContainer(count * sizeof(Member) + names, Container::kOfMembers, blocks_);
        to.payload.container = copy;
        Member* member = copy->Members();
        char* text = reinterpret_cast<char*>(member + count);
        ForEachMember(from, [&](const Key& key, const ZelJSONSlot& value) {
            ::new (member) Member;
            member->key = key;
            if (key.IsLong()) {
                std::memcpy(text, key.longer.pointer, key.longer.length);
                member->key.longer.pointer = text;
                text += key.longer.length;
            }
            ++copy->count;
            Copy(value, member++->value);
        });
    }

    std::vector<Pair, HeapAllocator<Pair>> pending_;
    BlockWriter blocks_;
};

}  // namespace

void ReleaseContents(ZelJSONSlot& slot) noexcept {
    if (slot.type == kString) {
        ReleaseText(slot);
    } else if (slot.type == kArray || slot.type == kObject) {
        Releaser releaser;
        releaser.Take(slot);
        slot.payload.container = nullptr;
        releaser.Run();
    }
}

void CopyTree(const ZelJSONSlot& from, ZelJSONSlot& to) {
    if (from.type == kString && !IsInline(from)) {
        if (from.payload.text != nullptr) {
            SetText(to, ViewOf(from));
            return;
        }
    } else if ((from.type == kArray || from.type == kObject) && ContainerOf(from) != nullptr) {
        try {
            Copier(0).Run(from, to);
        } catch (...) {
            ReleaseContents(to);
            to = ZelJSONSlot();
            throw;
        }
        return;
    }
    to = from;
}

}  // namespace ZelJSON
