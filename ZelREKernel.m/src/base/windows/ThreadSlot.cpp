#include "base/ThreadSlot.h"

#include <windows.h>

#include <array>
#include <mutex>
#include <system_error>

#include "ZelREKernel/base/vSlimLock.h"
#include "base/windows/ThreadExit.h"

namespace ZKL {
namespace {

// Why not fiber-local storage, which has a function for a thread's exit: that is also called for
// every thread, this one included, when the storage is given back, and by a thread that ends while
// the library is unloaded. The loader's own notice of a thread's end comes under the loader's lock,
// as the unloading does, so neither happens.
struct Entry {
    DWORD index = TLS_OUT_OF_INDEXES;
    ThreadSlot::ExitFunction onThreadExit = nullptr;
};

using Entries = std::array<Entry, 8>;  // this library makes two

constinit vSlimLock s_lock;
constinit Entries s_entries;

std::system_error NoSlot(unsigned long error) {
    return {static_cast<int>(error), std::system_category(), "TlsAlloc"};
}

// A copy: an exit function takes locks under which a thread that begins makes a slot.
Entries CopyEntries() noexcept {
    const std::lock_guard guard(s_lock);
    return s_entries;
}

}  // namespace

void CallThreadExitFunctions() noexcept {
    for (const Entry& entry : CopyEntries()) {
        if (entry.onThreadExit == nullptr) {
            continue;
        }
        if (void* const value = TlsGetValue(entry.index)) {
            TlsSetValue(entry.index, nullptr);
            entry.onThreadExit(value);
        }
    }
}

ThreadSlot::ThreadSlot(ExitFunction onThreadExit) {
    const std::lock_guard guard(s_lock);
    for (Entry& entry : s_entries) {
        if (entry.onThreadExit == nullptr) {
            entry.index = TlsAlloc();
            if (entry.index == TLS_OUT_OF_INDEXES) {
                throw NoSlot(GetLastError());
            }
            entry.onThreadExit = onThreadExit;
            key_ = reinterpret_cast<std::uintptr_t>(&entry);
            return;
        }
    }
    throw NoSlot(ERROR_NO_MORE_ITEMS);
}

ThreadSlot::~ThreadSlot() {
    const std::lock_guard guard(s_lock);
    Entry& entry = *reinterpret_cast<Entry*>(key_);
    TlsFree(entry.index);
    entry = {};
}

void* ThreadSlot::Get() const noexcept {
    return TlsGetValue(reinterpret_cast<const Entry*>(key_)->index);
}

bool ThreadSlot::Set(void* value) noexcept {
    return TlsSetValue(reinterpret_cast<const Entry*>(key_)->index, value) != 0;
}

}  // namespace ZKL
