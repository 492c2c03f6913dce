#pragma once

// The test program's operator new, which can be told to find no memory.

namespace test {

// For the calling thread, while it is true.
extern constinit thread_local bool failNew;

}  // namespace test
