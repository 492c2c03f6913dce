// The task graph: jobs in nodes, edges between nodes, and a wait for the end.
#include <array>
#include <cstdio>

#include <ZelREKernel/ZelREKernel.h>

int main() {
    using Node = ZKL::vTaskNode;
    using Job = ZKL::vTaskDetail::vPooledTask;
    constexpr std::size_t kChunks = 8;
    std::array<std::size_t, kChunks> transformed{};
    std::size_t sum = 0;

    ZKL::vWorkerThread workers;
    workers.RunPool(4);

    Node::NodeHandle transform = Node::CreateNode(&workers);
    for (std::size_t chunk = 0; chunk < kChunks; ++chunk) {  // these run beside each other
        transform->AddTask(Job::Create([&, chunk] { transformed[chunk] = chunk * chunk; }));
    }
    Node::NodeHandle gather = Node::CreateNode(&workers);
    gather->AddTask(Job::Create([&] {  // sees all that the jobs before it have written
        for (const std::size_t value : transformed) {
            sum += value;
        }
    }));
    gather->AddDependency(transform.Get());
    ZKL::vSynchroNode done(gather.Get());

    // A node starts when nothing holds it back any more: no predecessor, and no handle.
    gather.Reset();
    transform.Reset();
    done.Wait();
    std::printf("the sum is %zu\n", sum);
    return 0;
}
