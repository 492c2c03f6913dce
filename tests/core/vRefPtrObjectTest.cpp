#include "ZelREKernel/core/vRefPtrObject.h"

#include <gtest/gtest.h>

#include <functional>
#include <thread>
#include <utility>
#include <vector>

#include "ZelREKernel/core/vRefPtr.h"
#include "support/WaitUntil.h"

namespace {

using ZKL::vRefPtr;
using ZKL::vRefPtrObject;

// Counts what happens to it, and lets a test act inside Destroy and _Destroy.
struct Object : vRefPtrObject {
    struct Log {
        std::atomic<int> destroys{0};
        std::atomic<int> deletes{0};
        int countInside = 0;
    };

    explicit Object(Log& log, bool constructed = true) : vRefPtrObject(constructed), log_(log) {}
    ~Object() override { ++log_.deletes; }
    using vRefPtrObject::_Construct;

    void Destroy() override {
        if (onDestroy) {
            onDestroy();
        } else {
            vRefPtrObject::Destroy();
        }
    }
    void _Destroy() override {
        ++log_.destroys;
        log_.countInside = GetReferenceCount();
        vRefPtrObject::_Destroy();
        if (insideDestroy) {
            insideDestroy();
        }
    }

    std::function<void()> onDestroy;
    std::function<void()> insideDestroy;

private:
    Log& log_;
};

TEST(vRefPtrObject, KeepsCountAndValidityApart) {
    Object::Log log;
    Object object(log, false);
    EXPECT_FALSE(object.IsValid());
    EXPECT_FALSE(object.IsReferenced());
    object.AddRef();
    EXPECT_EQ(object.GetReferenceCount(), 1);
    object.SetReferenceCount(0xabffffff);
    EXPECT_EQ(object.GetReferenceCount(), 0xffffff);
    EXPECT_FALSE(object.IsValid());
    EXPECT_EQ(object._Construct(), 0);
    EXPECT_TRUE(object.IsValid());
    EXPECT_EQ(object.GetReferenceCount(), 0xffffff);
    object.SetReferenceCount(2);

    const vRefPtrObject copy(object);
    EXPECT_FALSE(copy.IsReferenced());
    EXPECT_TRUE(copy.IsValid());

    // The destroyer holds a reference that the count shows, and its own count that it does not.
    object.insideDestroy = [&] { object.SetReferenceCount(5); };
    object.Destroy();
    EXPECT_EQ(log.countInside, 3);
    EXPECT_EQ(object.GetReferenceCount(), 4);
    EXPECT_FALSE(object.IsValid());
    object.Destroy();
    EXPECT_EQ(log.destroys, 1);
}

TEST(vRefPtrObject, IsDeletedByTheLastReference) {
    Object::Log log;
    auto* object = new Object(log);
    object->AddRef();
    object->AddRef();
    object->Destroy();  // logically: the references stay good
    object->Release();
    EXPECT_EQ(log.deletes, 0);
    object->Release();
    EXPECT_EQ(log.destroys, 1);
    EXPECT_EQ(log.deletes, 1);

    object = new Object(log);
    object->AddRef();
    object->onDestroy = [] {};  // leaves it valid, which keeps it alive
    object->Release();
    EXPECT_EQ(log.deletes, 1);
    object->onDestroy = nullptr;
    object->AddRef();
    // A pointer to itself on the way out is no last reference.
    object->insideDestroy = [object] { const vRefPtr<Object> self(object); };
    object->Release();
    EXPECT_EQ(log.destroys, 2);
    EXPECT_EQ(log.deletes, 2);
}

TEST(vRefPtrObject, WaitsForAnotherDestroyerBeforeDeleting) {
    Object::Log log;
    auto* const object = new Object(log);
    std::atomic<bool> inside{false};
    std::atomic<bool> go{false};
    std::thread destroyer;
    object->insideDestroy = [&] {
        inside = true;
        test::WaitUntil([&] { return go.load(); });
        EXPECT_EQ(log.deletes, 0);
    };
    object->onDestroy = [&] {
        destroyer = std::thread([&] { object->vRefPtrObject::Destroy(); });
        test::WaitUntil([&] { return inside.load(); });
        object->vRefPtrObject::Destroy();  // finds the other at work and leaves it to it
        go = true;
    };
    object->AddRef();
    object->Release();
    EXPECT_TRUE(go);
    destroyer.join();
    EXPECT_EQ(log.destroys, 1);
    EXPECT_EQ(log.deletes, 1);
}

TEST(vRefPtr, CountsAcrossThreads) {
    for (const int threads : {1, 2, 8, 64}) {
        Object::Log log;
        std::vector<std::thread> workers;
        vRefPtr<Object> object(new Object(log));
        for (int i = 0; i < threads; ++i) {
            workers.emplace_back([mine = object] {
                for (int round = 0; round < 1000; ++round) {
                    // NOLINTNEXTLINE(performance-unnecessary-copy-initialization): it is the test
                    const vRefPtr<Object> copy = mine;
                    EXPECT_TRUE(copy->IsValid());
                }
            });
        }
        object.Reset();
        for (std::thread& worker : workers) {
            worker.join();
        }
        EXPECT_EQ(log.destroys, 1);
        EXPECT_EQ(log.deletes, 1);
        EXPECT_EQ(log.countInside, 1);
    }
}

}  // namespace
