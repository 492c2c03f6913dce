#pragma once

// A base class for shared objects with the count inside: one word holds the references, the threads
// busy destroying the object and whether it is valid. An object can be destroyed logically while
// references are held; it is freed when the last one goes and no destroyer is still at work.
//
// Any thread that holds a reference may call any operation. The last Release may block its caller,
// looking every 50 milliseconds, while another thread is inside Destroy.

#include <atomic>
#include <cstdint>

#include "ZelREKernel/ZelREKernelExport.h"

namespace ZKL {

class ZELREKERNEL_EXPORT vRefPtrObject {
public:
    // An object made with `constructed` false is invalid until _Construct. It starts with no
    // reference and belongs to its maker until the first one is taken.
    explicit vRefPtrObject(bool constructed) noexcept;
    // The copy is valid and has no reference, whatever the state of the other.
    vRefPtrObject(const vRefPtrObject&) noexcept : vRefPtrObject(true) {}
    vRefPtrObject& operator=(const vRefPtrObject&) noexcept { return *this; }

    // The references held, those of running Destroy calls included.
    virtual int GetReferenceCount() const;
    // Invalidates the object through _Destroy unless it is invalid or another thread is at it.
    // Never frees it: the caller holds a reference and keeps it.
    virtual void Destroy();

    // Relaxed: a new reference is made from one that the caller holds already.
    void AddRef() const noexcept { state_.fetch_add(1, std::memory_order_relaxed); }
    // Gives a reference back; the last one destroys the object and deletes it, unless an override
    // of Destroy left it valid.
    void Release() const {
        // Releases this thread's writes to whoever deletes, and acquires everyone's when it is us.
        if ((state_.fetch_sub(1, std::memory_order_acq_rel) & kCountMask) == 1) {
            _ReleaseLast();
        }
    }
    // Replaces the number of references, 24 bits of it.
    void SetReferenceCount(std::uint32_t count) noexcept;

    // Whether anybody holds a reference, running Destroy calls included; another thread may change
    // that at once.
    bool IsReferenced() const noexcept { return (_Load() & kCountMask) != 0; }
    // Between _Construct and _Destroy. True says that what was done before _Construct is seen.
    bool IsValid() const noexcept { return (_Load() & kInvalid) == 0; }

protected:
    // Makes the object valid. Returns 0; an override may return another status.
    virtual std::int32_t _Construct();
    // Makes the object invalid. An override gives the object's resources back and ends with this.
    virtual void _Destroy();
    // Blocks until no thread is inside Destroy, looking every 50 milliseconds.
    void _WaitForDeletion() const;

public:
    virtual ~vRefPtrObject();

private:
    static constexpr std::uint32_t kCountMask = 0x00ffffff;
    static constexpr std::uint32_t kDestroyerMask = 0x7f000000;
    static constexpr std::uint32_t kInvalid = 0x80000000;
    static constexpr std::uint32_t kOneDestroyer = 0x01000001;  // which holds a reference, too

    // Acquire: who sees a bit sees what its setter did before.
    std::uint32_t _Load() const noexcept { return state_.load(std::memory_order_acquire); }
    void _ReleaseLast() const;

    mutable std::atomic<std::uint32_t> state_;
};

static_assert(sizeof(vRefPtrObject) == 16);

}  // namespace ZKL
