#pragma once

// A growable array that keeps its only element inside itself while it has one: most lists of a task
// node hold a single entry, and such a list costs no heap allocation and no second cache line.
//
// The elements are owned. One thread at a time; no locking.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <new>
#include <utility>

namespace ZKL {

// Where the heap arrays of elements of a type come from; a type whose lists are made in great
// number may have a specialisation. Take returns null or throws std::bad_alloc when there is no
// memory; Give is told the size that was asked for.
template <typename T>
struct vSmallVectorHeap {
    // Memory of `size` bytes for Give of the same type:
    static void* Take(std::size_t size) noexcept { return std::malloc(size); }
    static void Give(void* array, std::size_t) noexcept { std::free(array); }
};

// Only <T, 1, 0> exists. The element type must move and be destroyed without throwing.
template <typename T, unsigned kInline, unsigned kOption>
class vSmallVector {
    static_assert(kInline == 1 && kOption == 0, "only one inline element is supported");

public:
    static constexpr std::uint32_t kInlineCapacity = 1;  // elements

    vSmallVector() noexcept {}
    vSmallVector(vSmallVector&& other) noexcept { Steal(other); }
    vSmallVector& operator=(vSmallVector&& other) noexcept {
        if (this != &other) {
            Clear();
            Steal(other);
        }
        return *this;
    }
    ~vSmallVector() { Clear(); }

    // Appends; amortised constant. Throws std::bad_alloc and changes nothing when the heap is full.
    void PushBack(T&& element) {
        if (size_ >= capacity_) {
            Grow();
        }
        ::new (static_cast<void*>(Data() + size_)) T(std::move(element));
        ++size_;
    }

    // Destroys every element in order and gives the heap array back. Linear.
    void Clear() noexcept {
        DropElements();
        if (!IsInline()) {
            vSmallVectorHeap<T>::Give(storage_.heap, std::size_t{capacity_} * sizeof(T));
            capacity_ = kInlineCapacity;
        }
    }

    // Destroys every element in order and keeps the array for later use. Linear.
    void DropElements() noexcept {
        std::destroy_n(Data(), size_);
        size_ = 0;
    }

    // The elements by index, which is not checked, and in order. References and iterators are valid
    // until the array grows or moves:
    T& operator[](std::size_t index) noexcept { return Data()[index]; }
    const T& operator[](std::size_t index) const noexcept { return Data()[index]; }
    T* begin() noexcept { return Data(); }
    T* end() noexcept { return Data() + size_; }
    const T* begin() const noexcept { return Data(); }
    const T* end() const noexcept { return Data() + size_; }
    // Elements, and room for elements:
    std::uint32_t Size() const noexcept { return size_; }
    std::uint32_t Capacity() const noexcept { return capacity_; }
    bool IsEmpty() const noexcept { return size_ == 0; }

private:
    union Storage {
        Storage() noexcept {}
        ~Storage() {}
        T element;
        T* heap;
    };

    bool IsInline() const noexcept { return capacity_ == kInlineCapacity; }
    T* Data() noexcept { return IsInline() ? &storage_.element : storage_.heap; }
    const T* Data() const noexcept { return IsInline() ? &storage_.element : storage_.heap; }

    void Grow() {
        const std::uint32_t capacity = capacity_ * 2;
        T* const heap =
            static_cast<T*>(vSmallVectorHeap<T>::Take(std::size_t{capacity} * sizeof(T)));
        if (heap == nullptr) {
            throw std::bad_alloc();
        }
        const std::uint32_t size = size_;
        std::uninitialized_move_n(Data(), size, heap);
        Clear();
        storage_.heap = heap;
        capacity_ = capacity;
        size_ = size;
    }

    // Takes the elements of `other` into this empty array and leaves `other` empty.
    void Steal(vSmallVector& other) noexcept {
        if (other.IsInline()) {
            std::uninitialized_move_n(other.Data(), other.size_, &storage_.element);
            size_ = other.size_;
            other.Clear();
        } else {
            storage_.heap = std::exchange(other.storage_.heap, nullptr);
            capacity_ = std::exchange(other.capacity_, kInlineCapacity);
            size_ = std::exchange(other.size_, 0U);
        }
    }

    Storage storage_;
    std::uint32_t capacity_ = kInlineCapacity;
    std::uint32_t size_ = 0;
};

}  // namespace ZKL
