// Shared objects beside boost::intrusive_ptr (thread-safe counter) and std::shared_ptr: taking and
// dropping a reference, locking a weak pointer, making an object with its first pointer.

#include <benchmark/benchmark.h>

#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <boost/smart_ptr/intrusive_ref_counter.hpp>
#include <memory>
#include <thread>
#include <vector>

#include "ZelREKernel/core/vRefPtr.h"
#include "ZelREKernel/core/vRefPtrObject.h"
#include "ZelREKernel/core/vSmartPtr.h"
#include "support/AllocationCount.h"

namespace {

// The standard library counts without atomic operations until a process starts its first thread.
[[maybe_unused]] const bool threaded = (std::thread([] {}).join(), true);

struct Payload {
    std::uint64_t words[4] = {};
};

struct RefObject : ZKL::vRefPtrObject, Payload {
    RefObject() : vRefPtrObject(true) {}
};
// With a virtual destructor like ours, for objects that are deleted through a base.
struct BoostObject : boost::intrusive_ref_counter<BoostObject, boost::thread_safe_counter>,
                     Payload {
    virtual ~BoostObject() = default;
};
struct SmartObject : ZKL::vSmartPtrObject, Payload {};
struct StdObject : Payload {
    virtual ~StdObject() = default;
};

ZKL::vRefPtr<RefObject> MakeRef() {
    return ZKL::vRefPtr<RefObject>(new RefObject);
}
boost::intrusive_ptr<BoostObject> MakeBoost() {
    return boost::intrusive_ptr<BoostObject>(new BoostObject);
}
ZKL::vSmartPtr<SmartObject> MakeSmart() {
    return ZKL::vSmartPtr<SmartObject>(new SmartObject);
}
std::shared_ptr<StdObject> MakeStd() {
    return std::make_shared<StdObject>();
}

template <auto Make>
void CopyAndDrop(benchmark::State& state) {
    const auto pointer = Make();
    for (auto _ : state) {
        auto copy = pointer;
        benchmark::DoNotOptimize(copy);
    }
}

// The same with the object in sight of every thread.
template <auto Make>
void CopyAndDropShared(benchmark::State& state) {
    static const auto pointer = Make();
    for (auto _ : state) {
        auto copy = pointer;
        benchmark::DoNotOptimize(copy);
    }
}

void LockWeak(benchmark::State& state) {
    const auto pointer = MakeSmart();
    const ZKL::vWeakPtr<SmartObject> weak = pointer;
    for (auto _ : state) {
        auto locked = weak.Lock();
        benchmark::DoNotOptimize(locked);
    }
}

void LockStd(benchmark::State& state) {
    const auto pointer = MakeStd();
    const std::weak_ptr<StdObject> weak = pointer;
    for (auto _ : state) {
        auto locked = weak.lock();
        benchmark::DoNotOptimize(locked);
    }
}

// Makes n objects, then drops them all; one item is one object.
template <auto Make>
void MakeAndDrop(benchmark::State& state) {
    const auto count = static_cast<std::size_t>(state.range(0));
    std::vector<decltype(Make())> pointers(count);
    const std::size_t before = bench::AllocationsOfThisThread();
    for (auto _ : state) {
        for (auto& pointer : pointers) {
            pointer = Make();
        }
        for (auto& pointer : pointers) {
            pointer = nullptr;
        }
    }
    const auto items = static_cast<double>(state.iterations() * state.range(0));
    state.counters["allocs"] =
        static_cast<double>(bench::AllocationsOfThisThread() - before) / items;
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

BENCHMARK(CopyAndDrop<MakeRef>)->Name("intrusive_copy_drop/ours");
BENCHMARK(CopyAndDrop<MakeBoost>)->Name("intrusive_copy_drop/boost_intrusive_ptr");
BENCHMARK(CopyAndDrop<MakeSmart>)->Name("strong_copy_drop/ours");
BENCHMARK(CopyAndDrop<MakeStd>)->Name("strong_copy_drop/std_shared_ptr");
BENCHMARK(CopyAndDropShared<MakeSmart>)->Name("strong_copy_drop/ours")->Threads(2)->UseRealTime();
BENCHMARK(CopyAndDropShared<MakeStd>)
    ->Name("strong_copy_drop/std_shared_ptr")
    ->Threads(2)
    ->UseRealTime();
BENCHMARK(LockWeak)->Name("weak_lock/ours");
BENCHMARK(LockStd)->Name("weak_lock/std_weak_ptr");

constexpr int kSizes[] = {100, 1000, 10000};

void Sizes(benchmark::internal::Benchmark* bench) {
    for (const int size : kSizes) {
        bench->Arg(size);
    }
}

BENCHMARK(MakeAndDrop<MakeRef>)->Name("make_intrusive/ours")->Apply(Sizes);
BENCHMARK(MakeAndDrop<MakeBoost>)->Name("make_intrusive/boost_intrusive_ptr")->Apply(Sizes);
BENCHMARK(MakeAndDrop<MakeSmart>)->Name("make_shared/ours")->Apply(Sizes);
BENCHMARK(MakeAndDrop<MakeStd>)->Name("make_shared/std_shared_ptr")->Apply(Sizes);

}  // namespace
