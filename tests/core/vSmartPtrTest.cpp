#include "ZelREKernel/core/vSmartPtr.h"

#include <gtest/gtest.h>

#include <functional>
#include <thread>
#include <vector>

#include "ZelREKernel/core/vSmartPtrManager.h"

namespace {

using ZKL::vSmartPtr;
using ZKL::vSmartPtrManager;
using ZKL::vSmartPtrObject;
using ZKL::vWeakPtr;

std::atomic<int> objects{0};

struct Padding {
    virtual ~Padding() = default;
    int padding = 1;
};

// The shared base is not the first one, so that a pointer to it has another address.
struct Object : Padding, vSmartPtrObject {
    Object() { ++objects; }
    ~Object() override {
        alive = 0;
        --objects;
    }
    void _Destroy() override {
        if (onDestroy) {
            onDestroy();
        }
        vSmartPtrObject::_Destroy();
    }
    using vSmartPtrObject::_SetUnmanaged;

    int alive = 1;
    std::function<void()> onDestroy;
};

struct Derived : Object {};

// Every test ends with no object left and every link back in the pool.
class vSmartPtrTest : public testing::Test {
protected:
    void TearDown() override {
        EXPECT_EQ(objects, 0);
        EXPECT_EQ(UsedLinks(), linksBefore_);
    }
    static std::uint32_t UsedLinks() { return vSmartPtrManager::GetInstance().GetUsedLinkCount(); }

    const std::uint32_t linksBefore_ = UsedLinks();
};

TEST_F(vSmartPtrTest, WatchesAnObjectWithoutAnOwner) {
    auto* const object = new Object;
    EXPECT_FALSE(object->IsReferenced());
    vWeakPtr<Object> weak(object);
    EXPECT_EQ(weak.Lock(), nullptr);
    weak.Reset();  // the link stays the object's
    EXPECT_EQ(UsedLinks(), linksBefore_ + 1);
    weak = vWeakPtr<Object>(object);
    const vSmartPtr<Object> owner(object);
    EXPECT_EQ(weak.Lock().Get(), object);
    const vSmartPtrObject copy(*object);
    EXPECT_FALSE(copy.IsReferenced());
}

TEST_F(vSmartPtrTest, DiesOnceWhateverEndsIt) {
    for (const bool owned : {false, true}) {
        for (const bool watched : {false, true}) {
            for (const bool deleted : {false, true}) {
                auto* const object = new Object;
                const vSmartPtr<Object> strong(owned ? object : nullptr);
                const vWeakPtr<Object> weak(watched ? object : nullptr);
                int calls = 0;
                object->onDestroy = [&] {
                    ++calls;
                    object->Destroy();  // acts no second time
                    EXPECT_EQ(object->GetReferenceCount(), owned ? 2 : 1);
                    EXPECT_EQ(object->GetWeakReferenceCount(), watched ? 2 : 1);
                    EXPECT_EQ(strong.Get(), owned ? object : nullptr);
                    const vSmartPtr<Object> self(object);
                    EXPECT_EQ(self.Get(), object);
                    EXPECT_EQ(weak.Lock(), nullptr);
                };
                if (deleted) {
                    delete object;
                } else {
                    object->Destroy();
                }
                EXPECT_EQ(calls, deleted ? 0 : 1);
                EXPECT_EQ(objects, 0);
                EXPECT_EQ(strong, nullptr);
                EXPECT_EQ(weak.Lock(), nullptr);
            }
        }
    }
    auto* const object = new Object;
    object->onDestroy = [object] { const vSmartPtr<Object> self(object); };
    const vSmartPtr<Object> last(object);
}

TEST_F(vSmartPtrTest, LeavesAnUnmanagedObjectAlone) {
    vWeakPtr<Object> weak;
    {
        Object object;
        object._SetUnmanaged();
        weak = vWeakPtr<Object>(&object);
        vSmartPtr<Object> strong(&object);
        const vSmartPtr<Object> copy = strong;
        strong.Reset();
        EXPECT_EQ(weak.Lock().Get(), &object);
        EXPECT_EQ(object.GetReferenceCount(), -1);
        EXPECT_EQ(object.GetWeakReferenceCount(), 1);
    }
    EXPECT_EQ(weak.Lock(), nullptr);
    auto* const object = new Object;
    object->_SetUnmanaged();
    object->Destroy();
}

enum class Ending { kLastDrop, kDestroy, kDelete };

// One thread's hold on the objects of a race, ended object by object in step with the others.
struct Racer {
    std::vector<vSmartPtr<Object>> strong;
    std::vector<vWeakPtr<Object>> weak;

    void End(std::size_t at, Ending ending, Object* owned) {
        const vSmartPtr<Object> locked = weak[at].Lock();
        const vWeakPtr<Object> copy = weak[at];
        if (ending == Ending::kLastDrop) {
            EXPECT_TRUE(!locked || locked->alive == 1);
            strong[at].Reset();
            const vSmartPtr<Object> again = copy.Lock();
            EXPECT_TRUE(!again || again->alive == 1);
        } else if (owned && ending == Ending::kDestroy) {
            owned->Destroy();
            EXPECT_EQ(copy.Lock(), nullptr);
        } else {
            delete owned;
        }
        weak[at].Reset();
        strong[at].Reset();
    }
};

void Race(int threads, Ending ending) {
    const std::size_t count = threads > 8 ? 200 : 2000;
    std::vector<Object*> raw;
    std::vector<Racer> racers(static_cast<std::size_t>(threads));
    for (std::size_t i = 0; i < count; ++i) {
        raw.push_back(new Object);
        const bool everyoneOwns = ending == Ending::kLastDrop;
        for (Racer& racer : racers) {
            const bool owns = everyoneOwns || (ending == Ending::kDestroy && &racer == &racers[0]);
            racer.strong.emplace_back(owns ? raw.back() : nullptr);
            racer.weak.emplace_back(raw.back());
        }
    }
    std::atomic<std::size_t> arrived{0};
    std::vector<std::thread> workers;
    for (Racer& racer : racers) {
        workers.emplace_back([&, first = &racer == &racers[0]] {
            for (std::size_t i = 0; i < count; ++i) {
                ++arrived;
                while (arrived < (i + 1) * racers.size()) {
                    std::this_thread::yield();
                }
                racer.End(i, ending, first ? raw[i] : nullptr);
            }
        });
    }
    for (std::thread& worker : workers) {
        worker.join();
    }
}

TEST_F(vSmartPtrTest, LocksSafelyWhileTheObjectEnds) {
    for (const Ending ending : {Ending::kLastDrop, Ending::kDestroy, Ending::kDelete}) {
        for (const int threads : {1, 2, 8, 64}) {
            Race(threads, ending);
            EXPECT_EQ(objects, 0) << threads << " threads";
            EXPECT_EQ(UsedLinks(), linksBefore_) << threads << " threads";
        }
    }
}

}  // namespace
