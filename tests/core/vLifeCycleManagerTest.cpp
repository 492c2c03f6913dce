#include "ZelREKernel/core/vLifeCycleManager.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "support/CaptureStream.h"
#include "support/ScopedCheckHandler.h"

namespace {

using ZKL::vLifeCycleManager;
using ZKL::vLifeCycleModule;

std::string s_calls;

class Service final : public vLifeCycleModule {
public:
    explicit Service(char name) : name_(name) {}
    bool Initialize() override {
        s_calls += {'+', name_, ' '};
        return Answer(starts);
    }
    bool Terminate() override {
        s_calls += {'-', name_, ' '};
        return Answer(stops);
    }

    bool starts = true;
    bool stops = true;
    bool throws = false;  // instead of saying false

private:
    bool Answer(bool succeeds) const {
        if (!succeeds && throws) {
            throw std::runtime_error("no");
        }
        return succeeds;
    }

    char name_;
};

struct Other {
    virtual ~Other() = default;
    long fields[4] = {};
};

// The service does not lie at the start of its memory.
class LateService final : public Other, public vLifeCycleModule {};

class LifeCycleManager : public testing::Test {
protected:
    LifeCycleManager() {
        s_calls.clear();
        manager.RegisterModule(a, "alpha");
        manager.RegisterModule(b, "beta");
        manager.RegisterModule(c, "gamma");
    }
    ~LifeCycleManager() override { manager.Finalize(); }
    static std::string TakeCalls() { return std::exchange(s_calls, {}); }

    Service* a = new Service('a');
    Service* b = new Service('b');
    Service* c = new Service('c');
    vLifeCycleManager manager;
};

TEST_F(LifeCycleManager, StartsInOrderAndStopsInReverse) {
    EXPECT_TRUE(manager.TerminateModules());
    EXPECT_EQ(TakeCalls(), "");
    EXPECT_TRUE(manager.InitializeModules());
    EXPECT_TRUE(manager.InitializeModules());
    EXPECT_EQ(TakeCalls(), "+a +b +c ");
    EXPECT_TRUE(a->IsInitialized());
    vLifeCycleManager copy(manager);  // of the same services
    EXPECT_TRUE(copy.TerminateModules());
    EXPECT_TRUE(copy.TerminateModules());
    EXPECT_EQ(TakeCalls(), "-c -b -a ");
    EXPECT_FALSE(a->IsInitialized());
}

TEST_F(LifeCycleManager, NamesTheServiceThatFailsAndRetriesItAlone) {
    for (const bool throws : {false, true}) {
        b->throws = throws;
        b->starts = false;
        test::CaptureStream out(1);
        EXPECT_FALSE(manager.InitializeModules());
        EXPECT_EQ(out.Text(), "[ERROR]\t : Error while initializing module beta\n");
        EXPECT_EQ(TakeCalls(), "+a +b +c ");
        EXPECT_TRUE(manager.TerminateModules());  // not up: nothing to do
        EXPECT_EQ(TakeCalls(), "");
        b->starts = true;
        EXPECT_TRUE(manager.InitializeModules());
        EXPECT_EQ(TakeCalls(), "+b ");
        EXPECT_TRUE(manager.TerminateModules());
        TakeCalls();
    }
}

TEST_F(LifeCycleManager, StaysUpUntilAllHaveStopped) {
    for (const bool throws : {false, true}) {
        EXPECT_TRUE(manager.InitializeModules());
        b->throws = throws;
        b->stops = false;
        test::CaptureStream out(1);
        TakeCalls();
        EXPECT_FALSE(manager.TerminateModules());
        EXPECT_TRUE(b->IsInitialized());
        EXPECT_TRUE(manager.InitializeModules());  // counts as up
        b->stops = true;
        EXPECT_TRUE(manager.TerminateModules());
        EXPECT_EQ(TakeCalls(), "-c -b -a -b ");
        EXPECT_EQ(out.Text(), "");
    }
}

TEST_F(LifeCycleManager, ServiceWithoutHooksNeverRunsAndIsFreedFromItsStart) {
    manager.RegisterModule(new LateService, "idle");
    test::CaptureStream out(1);
    EXPECT_FALSE(manager.InitializeModules());
    EXPECT_FALSE(manager.InitializeModules());
    const std::string line = "[ERROR]\t : Error while initializing module idle\n";
    EXPECT_EQ(out.Text(), line + line);
    manager.Finalize();  // a wrong pointer would end the process here
    EXPECT_TRUE(manager.InitializeModules());
}

}  // namespace
