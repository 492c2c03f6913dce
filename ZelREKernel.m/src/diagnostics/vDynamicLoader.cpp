#include "ZelREKernel/diagnostics/vDynamicLoader.h"

#include <cstring>
#include <mutex>
#include <new>
#include <utility>
#include <vector>

#include "ZelREKernel/base/vSlimLock.h"
#include "ZelREKernel/core/vLog.h"
#include "base/NativeLibrary.h"
#include "base/StdAllocator.h"

namespace ZKL {
namespace {

constexpr const char* kConstructor = "ZKL::vDynamicLoader::vDynamicLoader";

constinit vSlimLock s_preloadLock;
// The holds that PreloadLibrary took. They are never given back, not even at the end.
constinit std::vector<void*, StdAllocator<void*>> s_preloaded;

void* Load(const char* name, LibraryError& error) {
    if (std::strchr(name, '.')) {
        return OpenLibrary(name, error);
    }
    return OpenLibrary((std::string(name) + kLibrarySuffix).c_str(), error);
}

void Report(const char* name, const LibraryError& error) {
    LogDefault(vLogger::eRelease, "%s -- Load library error : %d", kConstructor, error.number);
    const std::string reason = error.text.empty() ? "" : " (" + error.text + ")";
    LogDefault(vLogger::eRelease, "%s -- Could not open library : %s%s", kConstructor, name,
               reason.c_str());
}

}  // namespace

vDynamicLoader::vDynamicLoader(const char* name, bool reportErrors) {
    if (!name) {
        return;
    }
    LibraryError error;
    module_ = Load(name, error);
    if (!module_ && reportErrors) {
        Report(name, error);
    }
}

vDynamicLoader::vDynamicLoader(const std::string& name, bool reportErrors)
    : vDynamicLoader(name.c_str(), reportErrors) {}

vDynamicLoader::vDynamicLoader(vDynamicLoader&& other) noexcept
    : module_(std::exchange(other.module_, nullptr)) {}

vDynamicLoader::~vDynamicLoader() {
    if (module_) {
        CloseLibrary(module_);
    }
}

vDynamicLoader& vDynamicLoader::operator=(vDynamicLoader&& other) noexcept {
    // Through a third, so that a loader moved onto itself keeps its library.
    vDynamicLoader taken(std::move(other));
    std::swap(module_, taken.module_);
    return *this;
}

void* vDynamicLoader::GetFunction(const char* name) {
    if (!name) {
        return nullptr;
    }
    void* const function = module_ ? FindInLibrary(module_, name) : nullptr;
    if (!function) {
        LogDefault(vLogger::eRelease, "Function %s has not been found", name);
    }
    return function;
}

bool vDynamicLoader::PreloadLibrary(const char* name) {
    if (!name) {
        return false;
    }
    void* library = nullptr;
    try {
        LibraryError error;
        library = Load(name, error);
        if (!library) {
            return false;
        }
        const std::lock_guard guard(s_preloadLock);
        s_preloaded.push_back(library);
    } catch (const std::bad_alloc&) {
        if (library) {
            CloseLibrary(library);
        }
        return false;
    }
    return true;
}

}  // namespace ZKL
