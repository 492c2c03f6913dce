#include "MekHost/system/MekSignalStack.h"

#include <windows.h>

namespace {

// The system keeps so much of a thread's own stack for the handler of its overflow.
constexpr ULONG kGuaranteedBytes = 64 * 1024;

}  // namespace

MekSignalStack::MekSignalStack() {
    ULONG bytes = kGuaranteedBytes;
    SetThreadStackGuarantee(&bytes);
}

MekSignalStack::~MekSignalStack() = default;
