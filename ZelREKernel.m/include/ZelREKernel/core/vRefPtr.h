#pragma once

// A strong pointer to an object that counts its own references by AddRef() and Release().
//
// One vRefPtr is used by one thread at a time; different ones to the same object by any threads.

#include <concepts>
#include <cstddef>
#include <utility>

namespace ZKL {

template <class T>
class vRefPtr {
public:
    // Points to nothing:
    constexpr vRefPtr() noexcept = default;
    constexpr vRefPtr(std::nullptr_t) noexcept {}
    // Takes a reference of its own.
    explicit vRefPtr(T* object) noexcept : object_(object) { _AddRef(); }
    vRefPtr(const vRefPtr& other) noexcept : vRefPtr(other.object_) {}
    vRefPtr(vRefPtr&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
    // From a pointer to a derived class: a reference of its own, or the other's.
    template <class U>
    requires std::convertible_to<U*, T*> vRefPtr(const vRefPtr<U>& other)
    noexcept : vRefPtr(other.object_) {}
    // The same; the source points to nothing afterwards.
    template <class U>
    requires std::convertible_to<U*, T*> vRefPtr(vRefPtr<U>&& other)
    noexcept : object_(std::exchange(other.object_, nullptr)) {}
    ~vRefPtr() {
        if (object_) {
            object_->Release();
        }
    }

    // The parameter is the copy or the move; the old reference goes with it, after the exchange.
    vRefPtr& operator=(vRefPtr other) noexcept {
        swap(*this, other);
        return *this;
    }
    // Drops the reference and takes one on `object`, if there is one.
    void Reset(T* object = nullptr) noexcept { *this = vRefPtr(object); }
    // Exchanges the two without counting.
    friend void swap(vRefPtr& a, vRefPtr& b) noexcept { std::swap(a.object_, b.object_); }

    // The object; null when there is none, and then not to be followed:
    T* Get() const noexcept { return object_; }
    T* operator->() const noexcept { return object_; }
    T& operator*() const noexcept { return *object_; }
    explicit operator bool() const noexcept { return object_ != nullptr; }
    // Whether both point to the same object.
    template <class U>
    bool operator==(const vRefPtr<U>& other) const noexcept {
        return object_ == other.object_;
    }
    // Whether it points to nothing.
    bool operator==(std::nullptr_t) const noexcept { return object_ == nullptr; }

private:
    template <class>
    friend class vRefPtr;

    void _AddRef() const noexcept {
        if (object_) {
            object_->AddRef();
        }
    }

    T* object_ = nullptr;
};

}  // namespace ZKL
