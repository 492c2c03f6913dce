#pragma once

// Where a process can make a child out of itself, the child has one thread and finds the library as
// the others left it.

namespace ZKL {

// Has `function` called in every child that fork() makes of this process, before fork returns
// there, until the library is unloaded.
void CallInForkedChildren(void (*function)()) noexcept;

}  // namespace ZKL
