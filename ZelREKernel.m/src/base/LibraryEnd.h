#pragma once

// What a static object's destructor may still do about threads.
//
// The library ends in one of two ways. It is unloaded: its threads were ended before, and all that
// it has is given back. Or the process ends, with threads of the library wherever they happen to
// be, if the host left them to themselves: then what they use stays.

namespace ZKL {

// Whether the system has ended all other threads already, wherever they were: what they had in hand
// is in no known state, and the process ends.
bool AreThreadsGone() noexcept;

// Whether other threads can end before the library's static objects are destroyed. Where they
// cannot, waiting for their end is waiting for ever.
bool CanThreadsEndMeanwhile() noexcept;

// Whether the process ends under threads that are at work, or were when the system ended them.
bool IsEndingAmidWork() noexcept;

// A static object that is there before any constructor runs and stays as it is where the process
// ends amid work.
template <typename T>
class UntilUnload {
public:
    template <typename... Arguments>
    explicit constexpr UntilUnload(Arguments&&... arguments) : object_(arguments...) {}
    ~UntilUnload() {
        if (!IsEndingAmidWork()) {
            object_.~T();
        }
    }
    UntilUnload(const UntilUnload&) = delete;
    UntilUnload& operator=(const UntilUnload&) = delete;

    T& operator*() noexcept { return object_; }
    T* operator->() noexcept { return &object_; }

private:
    union {
        T object_;
    };
};

}  // namespace ZKL
