// Work in the background, in one of six slots, and a copy that uses all cores.
#include <atomic>
#include <cstdio>
#include <cstring>
#include <vector>

#include <ZelREKernel/ZelREKernel.h>

int main() {
    vTaskManager::CreateInstance();
    vTaskManager& tasks = *vTaskManager::GetInstance();

    std::atomic<int> decoded = 0;
    for (int image = 0; image < 20; ++image) {
        tasks.Run(eAsyncTask0, [&decoded] { ++decoded; });
    }
    tasks.WaitTask(eAsyncTask0, ZKL::vProfiler::kNone);
    std::printf("%d images decoded\n", decoded.load());

    const std::vector<char> pixels(std::size_t{16} << 20, 'x');
    std::vector<char> copy(pixels.size());
    ZKL::ParallelMemCpy(copy.data(), pixels.data(), pixels.size());
    std::puts(copy == pixels ? "16 MiB copied" : "the copy differs");

    vTaskManager::DestroyInstance();
    return 0;
}
