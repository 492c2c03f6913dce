#include "ZelREKernel/core/vRefPtrObject.h"

#include <chrono>
#include <thread>

namespace ZKL {

vRefPtrObject::vRefPtrObject(bool constructed) noexcept : state_(constructed ? 0 : kInvalid) {}

vRefPtrObject::~vRefPtrObject() = default;

int vRefPtrObject::GetReferenceCount() const {
    return static_cast<int>(_Load() & kCountMask);
}

void vRefPtrObject::Destroy() {
    const std::uint32_t now = state_.fetch_add(kOneDestroyer) + kOneDestroyer;
    const bool alone = (now & kDestroyerMask) == (kOneDestroyer & kDestroyerMask);
    if (alone && (now & kInvalid) == 0) {
        _Destroy();
    }
    state_.fetch_sub(kOneDestroyer);
}

void vRefPtrObject::SetReferenceCount(std::uint32_t count) noexcept {
    std::uint32_t seen = state_.load();
    while (!state_.compare_exchange_weak(seen, (seen & ~kCountMask) | (count & kCountMask))) {
    }
}

std::int32_t vRefPtrObject::_Construct() {
    state_.fetch_and(~kInvalid);
    return 0;
}

void vRefPtrObject::_Destroy() {
    state_.fetch_or(kInvalid);
}

void vRefPtrObject::_WaitForDeletion() const {
    while ((_Load() & kDestroyerMask) != 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
}

void vRefPtrObject::_ReleaseLast() const {
    const_cast<vRefPtrObject*>(this)->Destroy();
    if (IsValid()) {
        return;
    }
    _WaitForDeletion();
    delete this;
}

}  // namespace ZKL
