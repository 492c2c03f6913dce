#pragma once

#include <signal.h>
#include <ucontext.h>

namespace ZKL {

// What Linux tells of a fault: the arguments of a signal's handler.
struct Fault {
    const siginfo_t* signal;
    ucontext_t* context;  // the registers of the thread that it hit
};

}  // namespace ZKL
