#pragma once

// The operating system's threads, as far as MekThreads needs them, and which process they are of.

#include <cstddef>
#include <cstdint>
#include <string>

namespace mek {

struct ThreadSettings {
    std::string name;            // shown by debuggers, UTF-8; may be empty
    int processor = -1;          // the logical processor to run on, -1 for any
    std::size_t stackBytes = 0;  // 0 for the system's default
};

// Starts a thread that calls `entry(argument)` and stores its handle, which is to be joined or
// detached. Returns kMekOk, kMekInvalidParameter (no such processor) or kMekOutOfMemory.
std::int32_t StartThread(const ThreadSettings& settings, void (*entry)(void*), void* argument,
                         std::uintptr_t* handle);
void JoinThread(std::uintptr_t handle);
void DetachThread(std::uintptr_t handle);

// A number that tells a process from those that fork() made of it, in which its threads are not.
std::uint32_t ThisProcess();

// A mark that tells the living threads apart.
const void* ThisThread();

// Whether the process ends and the system has ended all other threads already, wherever they were:
// nobody will let go of what they held.
bool AreThreadsGone();

}  // namespace mek
