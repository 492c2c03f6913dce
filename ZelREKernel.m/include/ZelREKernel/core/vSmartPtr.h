#pragma once

// Strong and weak pointers to a vSmartPtrObject. Both are one word, the object's link: after
// Destroy, strong pointers read null like weak ones; while the object cleans up, they find it.
//
// T derives from vSmartPtrObject, not virtually. One pointer is used by one thread at a time;
// different ones to the same object by any threads. Lock is safe against the last strong pointer
// going on another thread: it either keeps the object alive or gives an empty pointer.

#include <concepts>
#include <cstddef>
#include <utility>

#include "ZelREKernel/core/vSmartPtrObject.h"

namespace ZKL {

template <class T>
class vWeakPtr;

// An owner: the object lives as long as one of them points to it.
template <class T>
class vSmartPtr {
public:
    // Points to nothing:
    constexpr vSmartPtr() noexcept = default;
    constexpr vSmartPtr(std::nullptr_t) noexcept {}
    // Becomes an owner. Empty when `object` is null, or has no link: it got none for want of
    // memory, or is in its destructor.
    explicit vSmartPtr(T* object) noexcept
        : link_(object ? object->vSmartPtrObject::link_ : nullptr) {
        if (link_) {
            vSmartPtrObject::_AddStrong(link_);
        }
    }
    vSmartPtr(const vSmartPtr& other) noexcept : link_(other.link_) { _Copied(); }
    vSmartPtr(vSmartPtr&& other) noexcept : link_(std::exchange(other.link_, nullptr)) {}
    // From an owner by a derived class: one more owner.
    template <class U>
    requires std::convertible_to<U*, T*> vSmartPtr(const vSmartPtr<U>& other)
    noexcept : link_(other.link_) { _Copied(); }
    // The same; the source points to nothing afterwards.
    template <class U>
    requires std::convertible_to<U*, T*> vSmartPtr(vSmartPtr<U>&& other)
    noexcept : link_(std::exchange(other.link_, nullptr)) {}
    ~vSmartPtr() {
        if (link_) {
            vSmartPtrObject::_DropStrong(link_);
        }
    }

    // The parameter is the copy or the move; the old reference goes with it, after the exchange.
    vSmartPtr& operator=(vSmartPtr other) noexcept {
        swap(*this, other);
        return *this;
    }
    // Lets the object go and becomes an owner of `object`, if there is one.
    void Reset(T* object = nullptr) noexcept { *this = vSmartPtr(object); }
    // Exchanges the two without counting.
    friend void swap(vSmartPtr& a, vSmartPtr& b) noexcept { std::swap(a.link_, b.link_); }

    // The object; null for an empty pointer and once the object was destroyed. Relaxed: the pointer
    // itself came from a thread that had the object.
    T* Get() const noexcept {
        return link_ ? static_cast<T*>(link_->object.load(std::memory_order_relaxed)) : nullptr;
    }
    // The object, for a pointer that is not empty; null once the object was destroyed:
    T* operator->() const noexcept {
        return static_cast<T*>(link_->object.load(std::memory_order_relaxed));
    }
    T& operator*() const noexcept { return *operator->(); }
    // Whether there is an object.
    explicit operator bool() const noexcept { return Get() != nullptr; }
    // The same for all owners of an object, and of no other while one of them is left: unlike its
    // address, which a new object may have once it is destroyed. Null for an empty pointer.
    const void* GetIdentity() const noexcept { return link_; }
    // Whether both have the same object, or none.
    template <class U>
    bool operator==(const vSmartPtr<U>& other) const noexcept {
        return Get() == other.Get();
    }
    // Whether there is no object.
    bool operator==(std::nullptr_t) const noexcept { return Get() == nullptr; }

private:
    template <class>
    friend class vSmartPtr;
    template <class>
    friend class vWeakPtr;

    struct Adopt {};
    vSmartPtr(vSmartPtrLink* link, Adopt) noexcept : link_(link) {}
    void _Copied() const noexcept {
        if (link_) {
            vSmartPtrObject::_CopyStrong(link_);
        }
    }

    vSmartPtrLink* link_ = nullptr;
};

// A watcher: it keeps no object alive, and Lock tells whether there still is one.
template <class T>
class vWeakPtr {
public:
    // Watches nothing:
    constexpr vWeakPtr() noexcept = default;
    constexpr vWeakPtr(std::nullptr_t) noexcept {}
    // Watches `object`, which need not have an owner yet.
    explicit vWeakPtr(T* object) noexcept
        : vWeakPtr(object ? object->vSmartPtrObject::link_ : nullptr, Watch()) {}
    // Watches what the other owns or watches:
    template <class U>
    requires std::convertible_to<U*, T*> vWeakPtr(const vSmartPtr<U>& owner)
    noexcept : vWeakPtr(owner.link_, Watch()) {}
    vWeakPtr(const vWeakPtr& other) noexcept : vWeakPtr(other.link_, Watch()) {}
    vWeakPtr(vWeakPtr&& other) noexcept : link_(std::exchange(other.link_, nullptr)) {}
    // The same, of a derived class.
    template <class U>
    requires std::convertible_to<U*, T*> vWeakPtr(const vWeakPtr<U>& other)
    noexcept : vWeakPtr(other.link_, Watch()) {}
    // The same; the source watches nothing afterwards.
    template <class U>
    requires std::convertible_to<U*, T*> vWeakPtr(vWeakPtr<U>&& other)
    noexcept : link_(std::exchange(other.link_, nullptr)) {}
    ~vWeakPtr() {
        if (link_) {
            vSmartPtrObject::_DropWeak(link_);
        }
    }

    vWeakPtr& operator=(vWeakPtr other) noexcept {
        swap(*this, other);
        return *this;
    }
    // Watches nothing from now on.
    void Reset() noexcept { *this = vWeakPtr(); }
    // Exchanges the two without counting.
    friend void swap(vWeakPtr& a, vWeakPtr& b) noexcept { std::swap(a.link_, b.link_); }

    // A strong pointer to the object; empty when it is gone or has no owner.
    vSmartPtr<T> Lock() const noexcept {
        return link_ && vSmartPtrObject::_Lock(link_)
                   ? vSmartPtr<T>(link_, typename vSmartPtr<T>::Adopt())
                   : vSmartPtr<T>();
    }

private:
    template <class>
    friend class vWeakPtr;

    struct Watch {};
    vWeakPtr(vSmartPtrLink* link, Watch) noexcept : link_(link) {
        if (link_) {
            vSmartPtrObject::_AddWeak(link_);
        }
    }

    vSmartPtrLink* link_ = nullptr;
};

}  // namespace ZKL
