// An arena for what lives for one frame, here behind a standard container.
#include <cstddef>
#include <cstdio>
#include <memory_resource>
#include <vector>

#include <ZelREKernel/ZelREKernel.h>

int main() {
    ZKL::vFrameAllocator arena;
    ZKL::vMemoryResource memory(&arena);
    const void* first = nullptr;
    for (int frame = 0; frame < 3; ++frame) {
        std::pmr::vector<int> visible(&memory);
        visible.reserve(1000);
        for (int item = 0; item < 1000; ++item) {
            visible.push_back(item);
        }
        std::printf("frame %d: %zu items, %s\n", frame, visible.size(),
                    visible.data() == first ? "in the same place" : "in a new place");
        first = visible.data();
        arena.Reset();  // what was allocated is void; the page stays for the next frame
    }
    return 0;
}
