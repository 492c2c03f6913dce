#pragma once

#include <pthread.h>

namespace test {

// While it lives no thread is to be had: a new one's stack is larger than the address space.
class NoThreads {
public:
    NoThreads() {
        pthread_getattr_default_np(&usual_);
        pthread_attr_t impossible;
        pthread_attr_init(&impossible);
        pthread_attr_setstacksize(&impossible, std::size_t{1} << 48);
        pthread_setattr_default_np(&impossible);
        pthread_attr_destroy(&impossible);
    }
    ~NoThreads() {
        pthread_setattr_default_np(&usual_);
        pthread_attr_destroy(&usual_);
    }

private:
    pthread_attr_t usual_;
};

}  // namespace test
