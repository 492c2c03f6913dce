// Identifiers: ranges of numbers, such as the slots of a table on the graphics card, given out and
// joined again when they come back.
#include <cinttypes>
#include <cstdio>

#include <ZelREKernel/ZelREKernel.h>

int main() {
    vCoalescentAllocator slots(100);  // 0 to 99

    const std::uint32_t mesh = slots.Alloc(40);
    const std::uint32_t lights = slots.Alloc(10);
    // An aligned run comes with the padding in front of it, and goes back with it.
    const std::uint32_t run = slots.AllocAligned(16, 16);
    const std::uint32_t bones = (run + 15) / 16 * 16;
    std::printf("mesh %" PRIu32 ", lights %" PRIu32 ", bones %" PRIu32 "\n", mesh, lights, bones);

    // The caller remembers how many it took.
    slots.Free(lights, 10);
    for (std::uint32_t i = 0; i < slots.GetNumFreeBlocks(); ++i) {
        std::uint32_t begin = 0;
        std::uint32_t end = 0;
        slots.GetFreeBlock(i, begin, end);
        std::printf("free range: %" PRIu32 ", %" PRIu32 "\n", begin, end);
    }

    // A request that nothing can hold is an answer, not an error.
    if (slots.Alloc(80) == vCoalescentAllocator::InvalidId) {
        std::puts("no room for 80");
    }
    slots.Free(mesh, 40);
    slots.Free(run, bones - run + 16);
    std::printf("free ranges at the end: %" PRIu32 "\n", slots.GetNumFreeBlocks());
    return 0;
}
