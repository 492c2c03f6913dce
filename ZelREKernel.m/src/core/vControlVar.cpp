#include "ZelREKernel/core/vControlVar.h"

#include <atomic>
#include <functional>
#include <mutex>
#include <new>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "MekHost/assertion/MekCheck.h"
#include "MekHost/system/MekMutex.h"
#include "ZelREKernel/base/MurmurHash3.h"
#include "base/StdAllocator.h"

namespace ZKL {
namespace {

struct Entry {
    void* address;
    vControlVar::EType type;
    vControlVar::ECategory category;
};

using Entries = std::vector<Entry, StdAllocator<Entry>>;
using Name = std::basic_string<char, std::char_traits<char>, StdAllocator<char>>;

struct NameHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view name) const noexcept {
        return MurmurHash3_x86_32(name.data(), static_cast<std::uint32_t>(name.size()), 0);
    }
};

struct Registry {
    // The entries of a name, made empty when it is new: whatever is registered later joins them.
    Entries& EntriesOf(std::string_view name) {
        const auto found = variables.find(name);
        return found != variables.end() ? found->second
                                        : variables.try_emplace(Name(name)).first->second;
    }

    MekMutex mutex;
    std::unordered_map<Name, Entries, NameHash, std::equal_to<>,
                       StdAllocator<std::pair<const Name, Entries>>>
        variables;
};

// Built with the library, so that the static objects of a host are younger and may use it to their
// end, and that no call has to find the memory for it.
[[gnu::init_priority(103)]] Registry s_registry;

// A single store, so that a reader sees the old value or the new one. Relaxed: what else readers
// may expect to see with it is their own affair.
template <typename T>
void Store(const Entry& entry, T value) {
    std::atomic_ref<T>(*static_cast<T*>(entry.address)).store(value, std::memory_order_relaxed);
}

template <typename T>
void SetNamed(const char* name, vControlVar::EType type, T value) {
    if (!name) {
        Check_Pointer_Failed__("name", __FILE__, __LINE__);
        return;
    }
    const std::lock_guard guard(s_registry.mutex);
    try {
        for (const Entry& entry : s_registry.EntriesOf(name)) {
            if (entry.type == type) {
                Store(entry, value);
            }
        }
    } catch (const std::bad_alloc&) {
        // The name is new, so there was nothing to set and there is nothing to remember.
    }
}

}  // namespace

void vControlVar::Register(const char* name, void* address, EType type, ECategory category) {
    if (!name || !address) {
        Check_Pointer_Failed__(name ? "address" : "name", __FILE__, __LINE__);
        return;
    }
    const std::lock_guard guard(s_registry.mutex);
    s_registry.EntriesOf(name).push_back({address, type, category});
}

void vControlVar::SetValue(const char* name, unsigned int value) {
    SetNamed(name, eUnsignedInt, value);
}

void vControlVar::SetValue(const char* name, float value) {
    SetNamed(name, eFloat, value);
}

void vControlVar::SetValue(const char* name, bool value) {
    SetNamed(name, eBool, value);
}

void vControlVar::SetCategoryValue(ECategory category, bool value) {
    const std::lock_guard guard(s_registry.mutex);
    for (const auto& [name, entries] : s_registry.variables) {
        for (const Entry& entry : entries) {
            if (entry.type == eBool && entry.category == category) {
                Store(entry, value);
            }
        }
    }
}

}  // namespace ZKL
