#include "common/AddressWait.h"

#include <windows.h>

namespace mek {

bool SleepOnWord(const void* address, unsigned expected, const Deadline& deadline) {
    // The call promises not to write; only its declaration says otherwise.
    auto* const word = const_cast<void*>(address);
    static_assert(static_cast<DWORD>(-1) == INFINITE);
    const auto timeout = static_cast<DWORD>(deadline.RemainingMs());
    return WaitOnAddress(word, &expected, sizeof expected, timeout) || !deadline.HasPassed();
}

void WakeSleepers(const void* address, int count) {
    // The system wakes one or all; whoever is one too many finds that out by itself.
    if (count == 1) {
        WakeByAddressSingle(const_cast<void*>(address));
    } else {
        WakeAllSleepers(address);
    }
}

void WakeAllSleepers(const void* address) {
    WakeByAddressAll(const_cast<void*>(address));
}

}  // namespace mek
