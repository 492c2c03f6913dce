#pragma once

// The operating system's loader of shared libraries. All functions may be called from any thread.

#include <string>

namespace ZKL {

// What the names of shared libraries end with on this system, the dot included.
extern const char* const kLibrarySuffix;

struct LibraryError {
    int number = 0;    // the system's, never 0 after a failure
    std::string text;  // what the loader says; empty where it only has the number
};

// Loads a library, or takes one more hold on a loaded one; the search for it is the system's. Null
// and `error` when that fails.
void* OpenLibrary(const char* fileName, LibraryError& error);

// Gives back one hold on a library.
void CloseLibrary(void* library) noexcept;

// The address of what a loaded library exports as `name`, null when it does not.
void* FindInLibrary(void* library, const char* name) noexcept;

// Keeps the shared library that holds `address` loaded until the process ends.
void KeepLibraryLoaded(const void* address) noexcept;

}  // namespace ZKL
