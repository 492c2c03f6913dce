// An arena for work with a clear end, such as loading: taking memory moves a pointer on, and all of
// it goes back at once, or what came after a point in time.
#include <cstdio>
#include <cstring>

#include <ZelREKernel/ZelREKernel.h>

namespace {
constexpr std::uint64_t kFirstKey = 1000;  // the pages' owner; nobody else's, nor the keys after it
}

int main() {
    ZKL::vLinearAllocator arena;
    arena.SetBackendAllocator(*ZKL::DefaultPageAllocator(), kFirstKey, 0);

    char* const name = static_cast<char*>(arena.Alloc(16, 1));
    if (!name) {
        return 1;  // the system has no page left
    }
    std::strcpy(name, "wheel");

    ZKL::vRewindPoint beforeDecoding;
    arena.GetRewindPoint(beforeDecoding);
    for (int i = 0; i < 1000; ++i) {
        if (!arena.Alloc(64 * 1024, 64)) {
            return 1;
        }
    }
    arena.Rewind(beforeDecoding);  // the thousand are gone
    std::printf("after rewinding there is still the %s\n", name);

    arena.Reset();  // and now everything
    std::puts("empty again");
    return 0;
}
