#pragma once

#include <mutex>

namespace mek {

// Held while the variables of the process are read or changed, or copied for a program that is
// started: the C library's own functions guard them against nobody.
inline std::mutex environmentLock;

}  // namespace mek
