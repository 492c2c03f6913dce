#include "base/ForkedChild.h"

#include <pthread.h>

namespace ZKL {

void CallInForkedChildren(void (*function)()) noexcept {
    // Without memory for the entry children go without.
    pthread_atfork(nullptr, nullptr, function);
}

}  // namespace ZKL
