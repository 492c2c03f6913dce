#include <ZelREKernel/ZelREKernel.h>

int main() {
    if (ZKL::vKernelModule::Initialize({}) < 0) {
        return 1;
    }
    ZKL::InitAllocator();
    ZKL::vLifeCycleManager services;
    services.RegisterModule(new ZKL::vLoggerLifeCycle, "Logger");
    services.InitializeModules();
    {
        using Job = ZKL::vTaskDetail::vPooledTask;
        ZKL::vWorkerThread workers;
        workers.RunPool(2);

        auto parts = ZKL::vTaskNode::CreateNode(&workers);
        for (int i = 0; i < 2; ++i) {
            parts->AddTask(
                Job::Create([i] { ZKL::LogDefault(ZKL::vLogger::eInfo, "part %d", i); }));
        }
        auto after = ZKL::vTaskNode::CreateNode(&workers);
        after->AddTask(
            Job::Create([] { ZKL::LogDefault(ZKL::vLogger::eInfo, "both parts done"); }));
        after->AddDependency(parts.Get());

        ZKL::vSynchroNode done(after.Get());
        after.Reset();  // letting go of a node is what starts it
        parts.Reset();
        done.Wait();
    }
    services.TerminateModules();
    services.Finalize();
    return ZKL::vKernelModule::Terminate();
}
