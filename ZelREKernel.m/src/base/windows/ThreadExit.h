#pragma once

namespace ZKL {

// Calls the exit functions of the calling thread, which ends, for the slots in which it has stored
// something. See ThreadSlot.
void CallThreadExitFunctions() noexcept;

}  // namespace ZKL
