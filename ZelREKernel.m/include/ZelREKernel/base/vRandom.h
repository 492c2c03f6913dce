#pragma once

// A thin process-wide source of pseudo-random numbers: the C library's generator, which every other
// caller of rand() in the process shares. Good for scattering, not for statistics or secrets.
//
// On Windows the C library has a generator for each thread. Each is seeded once, by the first
// vRandom that is made or asked there, and all give different numbers.
//
// As safe between threads as the C library's rand(): on the supported systems, entirely.

#include <cstdint>

#include "ZelREKernel/ZelREKernelExport.h"

namespace ZKL {

class ZELREKERNEL_EXPORT vRandom {
public:
    // The first one of the process seeds the generator with the current time; later ones do not.
    vRandom();

    // The generator's next value, cut to the range 0 to 32767 that all systems share.
    std::uint32_t ComputeRand();

protected:
    // Seeds the generator with the current time, whatever was seeded before.
    void _Initialize();
};

}  // namespace ZKL
