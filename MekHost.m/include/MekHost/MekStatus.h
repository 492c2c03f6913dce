#pragma once

#include <cstdint>

// Status codes of the host services. They are the numbers that Windows uses for the same events,
// on every operating system, so that a code in a log means one thing everywhere.
enum EMekStatus : std::int32_t {
    kMekOk = 0,                    // done
    kMekInvalidHandle = 6,         // the object is closed or was never opened
    kMekOutOfMemory = 14,          // the system has no memory or no handles left
    kMekInvalidParameter = 87,     // a null pointer, a negative count, an impossible value
    kMekNotFound = 203,            // no environment variable of that name
    kMekTimeout = 258,             // the time-out passed first
    kMekTooManyPosts = 298,        // a semaphore would rise above its maximum count
    kMekFailed = 1359,             // the operating system refused; its reason is not passed on
    kMekAddressInUse = 10048,      // another socket listens on the port
    kMekDisconnected = 10054,      // the peer of the connection is gone
    kMekConnectionRefused = 10061  // nobody listens on the port
};
