// Life cycle: services start in the order of their registration and stop in the reverse order.
#include <cstdio>

#include <ZelREKernel/ZelREKernel.h>

namespace {

// What it takes in Initialize it gives back in Terminate: the manager frees it without running its
// destructor.
class Service final : public ZKL::vLifeCycleModule {
public:
    explicit Service(const char* name) : name_(name) {}

    bool Initialize() override {
        std::printf("%s starts\n", name_);
        return true;
    }
    bool Terminate() override {
        std::printf("%s stops\n", name_);
        return true;
    }

private:
    const char* name_;
};

}  // namespace

int main() {
    if (ZKL::vKernelModule::Initialize({}) < 0) {
        return 1;
    }
    ZKL::InitAllocator();

    ZKL::vLifeCycleManager services;  // owns what is registered
    for (const char* const name : {"files", "device", "renderer"}) {
        services.RegisterModule(new Service(name), name);
    }
    if (services.InitializeModules()) {
        std::puts("all services run");
    }
    services.TerminateModules();
    services.Finalize();
    return ZKL::vKernelModule::Terminate();
}
