#include "tasks/reload/Loading.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <malloc.h>

#include <filesystem>
#include <iterator>

namespace test {
namespace {

std::size_t CountEntries(const char* directory) {
    return static_cast<std::size_t>(
        std::distance(std::filesystem::directory_iterator(directory), {}));
}

}  // namespace

const int kRounds = 1000;
// Less than the smallest block: nothing is kept for each. The rest is oneTBB's, which stays loaded
// and comes to rest at some 10 KB.
const std::size_t kKeptPerRound = 16;

void* LoadUser() {
    void* const library = dlopen(ZEL_TEST_BIN_DIR "/tasks-reload-user.so", RTLD_NOW);
    EXPECT_NE(library, nullptr) << dlerror();
    return library;
}

void* FindFunction(void* library, const char* name) {
    return dlsym(library, name);
}

bool Unload(void* library) {
    return dlclose(library) == 0;
}

bool IsKernelLoaded() {
    void* const library = dlopen(ZEL_TEST_BIN_DIR "/libZelREKernel.so", RTLD_NOW | RTLD_NOLOAD);
    return library && dlclose(library) == 0;
}

Holdings CountHoldings() {
    return {CountEntries("/proc/self/task"), CountEntries("/proc/self/fd"), mallinfo2().uordblks};
}

}  // namespace test
