#include "base/NativeLibrary.h"

#include <dlfcn.h>

#include <cerrno>
#include <cstring>
#include <string_view>

namespace ZKL {

namespace {

constexpr int kLargestNumber = EHWPOISON;

// The loader tells no number, and does not keep errno; but where it has one, the system's words for
// it end its text. Where it has none, it found a file and could not use it.
int NumberIn(std::string_view text) {
    for (int number = 1; number <= kLargestNumber; ++number) {
        char buffer[256];
        if (text.ends_with(std::string(": ") + strerror_r(number, buffer, sizeof buffer))) {
            return number;
        }
    }
    return ENOEXEC;
}

}  // namespace

const char* const kLibrarySuffix = ".so";

void* OpenLibrary(const char* fileName, LibraryError& error) {
    void* const library = dlopen(fileName, RTLD_NOW | RTLD_LOCAL);
    if (!library) {
        const char* const text = dlerror();
        error.text = text ? text : "";
        error.number = NumberIn(error.text);
    }
    return library;
}

void CloseLibrary(void* library) noexcept {
    dlclose(library);
}

void* FindInLibrary(void* library, const char* name) noexcept {
    return dlsym(library, name);
}

void KeepLibraryLoaded(const void* address) noexcept {
    Dl_info info;
    if (dladdr(address, &info) == 0) {
        return;
    }
    if (void* const library = dlopen(info.dli_fname, RTLD_NOW | RTLD_NOLOAD | RTLD_NODELETE)) {
        dlclose(library);
    }
}

}  // namespace ZKL
