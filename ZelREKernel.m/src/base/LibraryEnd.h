#pragma once

// What a static object's destructor may still do about threads.

namespace ZKL {

// Whether the system has ended all other threads already, wherever they were: what they had in hand
// is in no known state, and the process ends.
bool AreThreadsGone() noexcept;

// Whether other threads can end before the library's static objects are destroyed. Where they
// cannot, waiting for their end is waiting for ever.
bool CanThreadsEndMeanwhile() noexcept;

}  // namespace ZKL
