#pragma once

// A base class for shared objects that weak pointers may watch: the counts stand in a link beside
// the object. It dies when the last strong pointer goes, or earlier by Destroy.
//
// Who holds a strong pointer may call any operation from any thread. Destroy deletes the object at
// once, whatever strong pointers there are: they find it during its clean-up and read null from
// then on, and the caller sees to it that no thread is inside the object.

#include "ZelREKernel/ZelREKernelExport.h"
#include "ZelREKernel/core/vSmartPtrLink.h"

namespace ZKL {

class ZELREKERNEL_EXPORT vSmartPtrObject {
public:
    using Link = vSmartPtrLink;  // between the object and its pointers

    // Takes a link from the pool. The object has no pointers yet and belongs to its maker. Without
    // memory for a link it works, but cannot be shared: pointers made to it are empty.
    vSmartPtrObject() noexcept;
    // Another object with a link of its own.
    vSmartPtrObject(const vSmartPtrObject&) noexcept : vSmartPtrObject() {}
    vSmartPtrObject& operator=(const vSmartPtrObject&) noexcept { return *this; }
    virtual ~vSmartPtrObject();

    // Strong pointers; 0 without a link, -1 for an object whose life is not counted.
    virtual int GetReferenceCount() const;
    // Weak pointers, and one for all strong ones together.
    virtual int GetWeakReferenceCount() const;
    // Deletes the object through _Destroy; only the first call acts. From its first moment on weak
    // pointers lock to nothing. Until it returns no other thread may drop the last strong pointer.
    virtual void Destroy();

    // Whether there is a strong pointer; another thread may change that at once. Always true for an
    // object whose life is not counted, and false without a link.
    bool IsReferenced() const noexcept;

protected:
    // Lets go of the link, so that strong pointers read null, and deletes the object. An override
    // ends with this one.
    virtual void _Destroy();
    // Exempts the object from counting, as for one on the stack or inside another: strong pointers
    // come and go without effect and must all be gone before it. Before the first pointer only.
    void _SetUnmanaged() noexcept;

private:
    template <class>
    friend class vSmartPtr;
    template <class>
    friend class vWeakPtr;

    // All of these take a link in use, which the caller keeps alive by a count or by the object.
    static inline bool _AddStrong(Link* link,
                                  std::memory_order order = std::memory_order_relaxed) noexcept;
    static inline void _CopyStrong(Link* link) noexcept;
    static inline void _DropStrong(Link* link);
    static inline void _AddWeak(Link* link) noexcept;
    static inline void _DropWeak(Link* link) noexcept;
    static bool _IsWhole(const Link* link) noexcept;
    static bool _Lock(Link* link) noexcept;
    static void _DropLastStrong(Link* link);
    static void _ReturnLink(Link* link) noexcept;
    void _Detach() noexcept;

    Link* link_;
    std::atomic<std::uint32_t> destroyed_{0};
};

static_assert(sizeof(vSmartPtrObject) == 24);

// Takes a strong reference from the object itself, where the count may be 0. False for an object
// that is not counted. Relaxed is enough to make a pointer: who does can reach the object already.
inline bool vSmartPtrObject::_AddStrong(Link* link, std::memory_order order) noexcept {
    if (link->strong.load(std::memory_order_relaxed) == Link::kUnmanaged) {
        return false;
    }
    if (link->strong.fetch_add(1, order) == 0) {
        _AddWeak(link);
    }
    return true;
}

// Takes a strong reference beside one that the caller holds.
inline void vSmartPtrObject::_CopyStrong(Link* link) noexcept {
    if (link->strong.load(std::memory_order_relaxed) != Link::kUnmanaged) {
        link->strong.fetch_add(1, std::memory_order_relaxed);
    }
}

inline void vSmartPtrObject::_DropStrong(Link* link) {
    if (link->strong.load(std::memory_order_relaxed) == Link::kUnmanaged) {
        return;
    }
    // Releases this thread's use of the object to whoever deletes it, acquires the others' when we
    // do.
    if (link->strong.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        _DropLastStrong(link);
    }
}

inline void vSmartPtrObject::_AddWeak(Link* link) noexcept {
    link->weak.fetch_add(1, std::memory_order_relaxed);
}

inline void vSmartPtrObject::_DropWeak(Link* link) noexcept {
    // Acquire and release order every thread's last use of the link before its reuse. With the
    // object still attached the link is the object's to return. A lone holder, beside whom nobody
    // can reach the link, needs no step on the word.
    if (link->weak.load(std::memory_order_acquire) == 1 ||
        link->weak.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        _ReturnLink(link);
    }
}

// Whether the object is there and not being destroyed.
inline bool vSmartPtrObject::_IsWhole(const Link* link) noexcept {
    return (link->weak.load(std::memory_order_acquire) & ~Link::kWeakCount) == Link::kAttached;
}

// Takes a strong reference where the caller holds a weak one. Never from 0: then the object has no
// owner yet, or has lost the last one. Nor of an object that Destroy is ending; a reference that
// was counted by then is given back, and never as the last one while the object is there, since
// Destroy has its own.
inline bool vSmartPtrObject::_Lock(Link* link) noexcept {
    std::uint32_t strong = link->strong.load(std::memory_order_relaxed);
    do {
        if (strong == 0) {
            return false;
        }
        if (strong == Link::kUnmanaged) {
            return _IsWhole(link);
        }
        // Acquire pairs with the release of Destroy's own reference: who counts beside it sees that
        // the object is on its way out, or gone.
    } while (!link->strong.compare_exchange_weak(strong, strong + 1, std::memory_order_acquire,
                                                 std::memory_order_relaxed));
    if (_IsWhole(link)) {
        return true;
    }
    _DropStrong(link);
    return false;
}

}  // namespace ZKL
