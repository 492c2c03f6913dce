#pragma once

// The operating system's side of vThreadUtils. Both calls concern the calling thread.

namespace ZKL {

// `cpu` is below 64. Returns false, leaving the thread where it was, when the system refuses.
bool SetNativeThreadAffinity(unsigned int group, unsigned int cpu) noexcept;

// Hands the system what it can keep of `name`, which is UTF-8 and not null.
void SetNativeThreadName(const char* name) noexcept;

}  // namespace ZKL
