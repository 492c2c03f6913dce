#pragma once

// A shared library that is loaded by name while the program runs, for as long as the object lives.
//
// The name of a library's file: a name with a dot anywhere is taken as it is; to any other ".dll"
// is added on Windows and ".so" on Linux. Where it is looked for is the system's rule
// (LoadLibraryA, dlopen).
//
// One object is used by one thread at a time, except that any threads may call its const members
// and GetFunction beside each other. PreloadLibrary may be called from any thread.

#include <string>

#include "ZelREKernel/ZelREKernelExport.h"

namespace ZKL {

class ZELREKERNEL_EXPORT vDynamicLoader {
public:
    // Loads the library. Null, or a library that cannot be loaded, makes an empty loader; the
    // latter is told by two lines at level "RELEASE" of the default channel if `reportErrors` is
    // set. Loading runs the library's static constructors.
    // Throws std::bad_alloc.
    vDynamicLoader(const char* name, bool reportErrors);
    vDynamicLoader(const std::string& name, bool reportErrors);
    // The source is empty afterwards.
    vDynamicLoader(vDynamicLoader&& other) noexcept;
    // Gives the library back to the system, which unloads it unless somebody else holds it. What
    // GetFunction gave is not to be used any more.
    ~vDynamicLoader();
    vDynamicLoader& operator=(vDynamicLoader&& other) noexcept;

    // Whether there is a library: false after a failure and for an object that was moved from.
    bool IsLoaded() const { return module_ != nullptr; }
    // The address of the function, null for a null name. One that the library does not export, or
    // any of an empty loader, is told by a line at level "RELEASE" and is null. On Linux a library
    // offers what the libraries that it needs export, too (dlsym).
    void* GetFunction(const char* name);

    // Loads a library and keeps it loaded until the process ends, also when the kernel library
    // itself is unloaded. False when it cannot be loaded, and for null.
    static bool PreloadLibrary(const char* name);

private:
    void* module_ = nullptr;
};

static_assert(sizeof(vDynamicLoader) == sizeof(void*));

}  // namespace ZKL
