#include "base/ThreadSlot.h"

#include <pthread.h>

#include <system_error>

namespace ZKL {

ThreadSlot::ThreadSlot(ExitFunction onThreadExit) {
    pthread_key_t key = 0;
    if (const int error = pthread_key_create(&key, onThreadExit)) {
        throw std::system_error(error, std::generic_category(), "pthread_key_create");
    }
    key_ = key;
}

ThreadSlot::~ThreadSlot() {
    pthread_key_delete(static_cast<pthread_key_t>(key_));
}

void* ThreadSlot::Get() const noexcept {
    return pthread_getspecific(static_cast<pthread_key_t>(key_));
}

bool ThreadSlot::Set(void* value) noexcept {
    return pthread_setspecific(static_cast<pthread_key_t>(key_), value) == 0;
}

}  // namespace ZKL
