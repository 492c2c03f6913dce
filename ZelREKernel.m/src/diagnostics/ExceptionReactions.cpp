#include "diagnostics/ExceptionReactions.h"

#include <new>

namespace ZKL {

ExceptionReactions::~ExceptionReactions() {
    for (std::atomic<Entry*>& bucket : buckets_) {
        for (Entry* entry = bucket.exchange(nullptr); entry != nullptr;) {
            Entry* const next = entry->next;
            delete entry;
            entry = next;
        }
    }
}

// Codes differ in their low bits.
std::size_t ExceptionReactions::BucketOf(std::uint32_t code) {
    return (code ^ code >> 16) % kBuckets;
}

ExceptionReactions::Entry* ExceptionReactions::FindEntry(std::uint32_t code) const {
    Entry* entry = buckets_[BucketOf(code)].load(std::memory_order_acquire);
    while (entry != nullptr && entry->code != code) {
        entry = entry->next;
    }
    return entry;
}

bool ExceptionReactions::Set(std::uint32_t code, std::uint32_t reactions) {
    const std::lock_guard guard(adding_);
    if (Entry* const entry = FindEntry(code)) {
        entry->reactions.store(reactions, std::memory_order_relaxed);
        return true;
    }
    std::atomic<Entry*>& bucket = buckets_[BucketOf(code)];
    Entry* const entry =
        new (std::nothrow) Entry{code, {reactions}, bucket.load(std::memory_order_relaxed)};
    if (entry != nullptr) {
        // Release: whoever sees the entry sees what is in it.
        bucket.store(entry, std::memory_order_release);
    }
    return entry != nullptr;
}

std::uint32_t ExceptionReactions::Find(std::uint32_t code) const {
    const Entry* const entry = FindEntry(code);
    return entry != nullptr ? entry->reactions.load(std::memory_order_relaxed) : 0;
}

}  // namespace ZKL
