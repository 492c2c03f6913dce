#include "tasks/NativeThread.h"

#include <pthread.h>
#include <sched.h>

#include <cstddef>
#include <cstring>

namespace ZKL {
namespace {

// More than any kernel is built for: the mask below then fits on the stack, and the system itself
// tells which of its processors are there.
constexpr unsigned int kMaximumGroups = 1024;

constexpr std::size_t kNameBytes = 15;

// The length of the longest start of `text`, at most `limit` bytes, that ends between characters.
std::size_t WholeCharacters(const char* text, std::size_t limit) {
    const auto continues = [&](std::size_t at) { return (text[at] & 0xC0) == 0x80; };
    if (strnlen(text, limit + 1) <= limit) {
        return std::strlen(text);
    }
    // A character has at most three continuation bytes; more are no UTF-8 and are cut anywhere.
    for (std::size_t back = 0; back <= 3; ++back) {
        if (!continues(limit - back)) {
            return limit - back;
        }
    }
    return limit;
}

}  // namespace

bool SetNativeThreadAffinity(unsigned int group, unsigned int cpu) noexcept {
    if (group >= kMaximumGroups) {
        return false;
    }
    cpu_set_t mask[kMaximumGroups * 64 / CPU_SETSIZE] = {};
    CPU_SET_S(std::size_t{64} * group + cpu, sizeof mask, mask);
    return sched_setaffinity(0, sizeof mask, mask) == 0;
}

void SetNativeThreadName(const char* name) noexcept {
    char shortName[kNameBytes + 1] = {};
    std::memcpy(shortName, name, WholeCharacters(name, kNameBytes));
    pthread_setname_np(pthread_self(), shortName);
}

}  // namespace ZKL
