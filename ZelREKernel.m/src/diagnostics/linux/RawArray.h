#pragma once

// An array from whole pages of its own, for code that must not touch the heap. Safe in a signal
// handler.

#include <sys/mman.h>

#include <cstddef>
#include <type_traits>

namespace ZKL {

template <typename T>
class RawArray {
    static_assert(std::is_trivially_copyable_v<T>);

public:
    // Room for at most `capacity` elements. Pages cost nothing until they are used.
    explicit RawArray(std::size_t capacity) {
        void* const pages = mmap(nullptr, capacity * sizeof(T), PROT_READ | PROT_WRITE,
                                 MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
        if (pages != MAP_FAILED) {
            elements_ = static_cast<T*>(pages);
            capacity_ = capacity;
        }
    }
    ~RawArray() {
        if (elements_ != nullptr) {
            munmap(elements_, capacity_ * sizeof(T));
        }
    }
    RawArray(const RawArray&) = delete;
    RawArray& operator=(const RawArray&) = delete;

    // False when the array is full.
    bool Push(const T& element) {
        if (size_ == capacity_) {
            return false;
        }
        elements_[size_++] = element;
        return true;
    }

    std::size_t Size() const { return size_; }
    std::size_t Bytes() const { return size_ * sizeof(T); }
    T* begin() { return elements_; }
    T* end() { return elements_ + size_; }
    const T* begin() const { return elements_; }
    const T* end() const { return elements_ + size_; }
    T& operator[](std::size_t i) { return elements_[i]; }

private:
    T* elements_ = nullptr;
    std::size_t capacity_ = 0;
    std::size_t size_ = 0;
};

}  // namespace ZKL
