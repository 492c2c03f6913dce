#include "common/NativeThread.h"

#include <pthread.h>
#include <sched.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <memory>
#include <new>

#include "MekHost/MekStatus.h"

namespace mek {
namespace {

constexpr std::size_t kNameBytes = 15;          // what the kernel keeps of a thread's name
constexpr std::size_t kMostProcessors = 65536;  // more than any kernel is built for

struct Start {
    std::string name;
    void (*entry)(void*);
    void* argument;
};

// Cuts a name to what the kernel takes, not through the middle of a character.
std::string ShortName(const std::string& name) {
    std::size_t size = std::min(name.size(), kNameBytes);
    while (size > 0 && size < name.size() && (name[size] & 0xC0) == 0x80) {
        --size;
    }
    return name.substr(0, size);
}

thread_local constinit char t_mark = 0;

void* Main(void* argument) {
    const std::unique_ptr<Start> start(static_cast<Start*>(argument));
    if (!start->name.empty()) {
        pthread_setname_np(pthread_self(), start->name.c_str());
    }
    start->entry(start->argument);
    return nullptr;
}

class Attributes {
public:
    Attributes() : error_(pthread_attr_init(&native_)) {}
    ~Attributes() { pthread_attr_destroy(&native_); }
    Attributes(const Attributes&) = delete;
    Attributes& operator=(const Attributes&) = delete;

    void SetStack(std::size_t bytes) {
        const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
        const auto least = static_cast<std::size_t>(sysconf(_SC_THREAD_STACK_MIN));
        bytes = std::max(bytes, least);
        Note(bytes > SIZE_MAX - page
                 ? ENOMEM
                 : pthread_attr_setstacksize(&native_, (bytes + page - 1) / page * page));
    }
    void SetProcessor(std::size_t processor) {
        if (processor >= kMostProcessors) {
            Note(EINVAL);
            return;
        }
        // The set is as large as the number asks for, since a machine may have more than the 1,024
        // processors of a plain cpu_set_t.
        const std::size_t count = std::max<std::size_t>(processor + 1, CPU_SETSIZE);
        cpu_set_t* const set = CPU_ALLOC(count);
        if (!set) {
            Note(ENOMEM);
            return;
        }
        CPU_ZERO_S(CPU_ALLOC_SIZE(count), set);
        CPU_SET_S(processor, CPU_ALLOC_SIZE(count), set);
        Note(pthread_attr_setaffinity_np(&native_, CPU_ALLOC_SIZE(count), set));
        CPU_FREE(set);
    }
    // 0, or the first error.
    int Error() const { return error_; }
    const pthread_attr_t* Native() const { return &native_; }

private:
    void Note(int error) { error_ = error_ ? error_ : error; }

    pthread_attr_t native_;
    int error_;
};

}  // namespace

std::int32_t StartThread(const ThreadSettings& settings, void (*entry)(void*), void* argument,
                         std::uintptr_t* handle) {
    Attributes attributes;
    if (settings.stackBytes) {
        attributes.SetStack(settings.stackBytes);
    }
    if (settings.processor >= 0) {
        attributes.SetProcessor(static_cast<std::size_t>(settings.processor));
    }
    std::unique_ptr<Start> start(new (std::nothrow)
                                     Start{ShortName(settings.name), entry, argument});
    int error = start ? attributes.Error() : ENOMEM;
    pthread_t thread{};
    if (!error) {
        error = pthread_create(&thread, attributes.Native(), &Main, start.get());
    }
    if (error) {
        // An unusable processor is the only setting that the system calls invalid.
        return error == EINVAL ? kMekInvalidParameter : kMekOutOfMemory;
    }
    static_cast<void>(start.release());  // Main's from here on
    *handle = thread;
    return kMekOk;
}

void JoinThread(std::uintptr_t handle) {
    pthread_join(handle, nullptr);
}

void DetachThread(std::uintptr_t handle) {
    pthread_detach(handle);
}

std::uint32_t ThisProcess() {
    return static_cast<std::uint32_t>(getpid());
}

const void* ThisThread() {
    return &t_mark;
}

bool AreThreadsGone() {
    return false;
}

}  // namespace mek
