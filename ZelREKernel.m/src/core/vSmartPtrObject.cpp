#include "ZelREKernel/core/vSmartPtrObject.h"

#include <utility>

#include "ZelREKernel/core/vSmartPtrManager.h"

// Who returns a link to the pool. Its weak word counts the weak pointers, one for all strong ones
// together (taken by the step from 0 to 1 strong, given back after the step from 1 to 0), and
// carries the bits of the object itself. Each of them leaves by one atomic step on that word, or
// finds itself alone on it, so exactly one sees that nobody is left, and nobody touches the link
// after that.

namespace ZKL {

vSmartPtrObject::vSmartPtrObject() noexcept : link_(vSmartPtrManager::GetInstance().GetFreeLink()) {
    if (link_ != nullptr) {
        // Relaxed: no other thread knows the link yet.
        link_->object.store(this, std::memory_order_relaxed);
        link_->weak.store(Link::kAttached, std::memory_order_relaxed);
    }
}

vSmartPtrObject::~vSmartPtrObject() {
    _Detach();
}

int vSmartPtrObject::GetReferenceCount() const {
    return link_ != nullptr ? static_cast<int>(link_->strong.load(std::memory_order_relaxed)) : 0;
}

int vSmartPtrObject::GetWeakReferenceCount() const {
    return link_ != nullptr
               ? static_cast<int>(link_->weak.load(std::memory_order_relaxed) & Link::kWeakCount)
               : 0;
}

void vSmartPtrObject::Destroy() {
    if (destroyed_.exchange(1) != 0) {
        return;
    }
    Link* const link = link_;
    if (link == nullptr) {
        _Destroy();
        return;
    }
    // Strong pointers find the object until _Destroy lets go of the link, weak ones no longer. The
    // mark comes before the reference, whose release shows it to those who count beside it: nobody
    // locks an object on its way out by means of it.
    link->weak.fetch_or(Link::kDying, std::memory_order_relaxed);
    const bool counted = _AddStrong(link, std::memory_order_release);
    _Destroy();
    if (counted) {
        _DropStrong(link);
    }
}

bool vSmartPtrObject::IsReferenced() const noexcept {
    return link_ != nullptr && link_->strong.load(std::memory_order_relaxed) != 0;
}

void vSmartPtrObject::_Destroy() {
    _Detach();
    delete this;
}

void vSmartPtrObject::_SetUnmanaged() noexcept {
    if (link_ != nullptr) {
        link_->strong.store(Link::kUnmanaged, std::memory_order_relaxed);
    }
}

void vSmartPtrObject::_DropLastStrong(Link* link) {
    // Nobody can lock any more. The object is there unless Destroy or its maker was faster.
    vSmartPtrObject* const object = link->object.load(std::memory_order_acquire);
    if (object != nullptr && object->destroyed_.exchange(1) == 0) {
        object->_Destroy();
    }
    _DropWeak(link);
}

void vSmartPtrObject::_ReturnLink(Link* link) noexcept {
    vSmartPtrManager::GetInstance().ReleaseLink(link);
}

void vSmartPtrObject::_Detach() noexcept {
    Link* const link = std::exchange(link_, nullptr);
    if (link == nullptr) {
        return;
    }
    link->object.store(nullptr, std::memory_order_release);
    const std::uint32_t before = link->weak.fetch_and(Link::kWeakCount, std::memory_order_acq_rel);
    if ((before & Link::kWeakCount) == 0) {
        _ReturnLink(link);
    }
}

}  // namespace ZKL
