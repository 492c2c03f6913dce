#pragma once

// The handle to a task node: holds one reference. Dropping the last one launches the node on the
// thread that drops it, so where a job of the node may throw, drop it with Reset() rather than by
// the destructor, which ends the process on an exception.
//
// One handle belongs to one thread at a time; several threads may hold handles to one node.

#include <utility>

namespace ZKL::vTaskDetail {

// `T` counts its references by AddRef and Release.
template <typename T>
class RefPtr {
public:
    RefPtr() noexcept = default;
    // Adds a reference of its own.
    explicit RefPtr(T* node) noexcept : node_(node) {
        if (node_ != nullptr) {
            node_->AddRef();
        }
    }
    // Takes over a reference that the caller holds.
    static RefPtr Adopt(T* node) noexcept {
        RefPtr handle;
        handle.node_ = node;
        return handle;
    }
    RefPtr(const RefPtr& other) noexcept : RefPtr(other.node_) {}
    RefPtr(RefPtr&& other) noexcept : node_(other.Detach()) {}
    RefPtr& operator=(RefPtr other) {
        std::swap(node_, other.node_);
        other.Reset();
        return *this;
    }
    ~RefPtr() { Reset(); }

    // Drops the reference. Passes on what a job throws that the drop runs on this thread.
    void Reset() {
        if (T* const node = Detach()) {
            node->Release();
        }
    }
    // Gives the reference to the caller, who releases it.
    [[nodiscard]] T* Detach() noexcept { return std::exchange(node_, nullptr); }

    // The node; null when there is none, and then not to be followed:
    T* Get() const noexcept { return node_; }
    T* operator->() const noexcept { return node_; }
    T& operator*() const noexcept { return *node_; }
    explicit operator bool() const noexcept { return node_ != nullptr; }

private:
    T* node_ = nullptr;
};

}  // namespace ZKL::vTaskDetail
