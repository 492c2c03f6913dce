#include "ZelREKernel/core/vModule.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using ZKL::vModule;

constexpr auto kEPointer = static_cast<std::int32_t>(0x80004003);
constexpr auto kEOutOfMemory = static_cast<std::int32_t>(0x8007000E);
constexpr auto kEUnexpected = static_cast<std::int32_t>(0x8000FFFF);

// A library module whose phases note their names, and return `s_status` in the phase `s_failing`.
class PhaseModule : public vModule {
public:
    static std::int32_t Initialize() { return _InitializeInstance(s_data, s_make, {7}); }
    static std::int32_t Terminate() { return _TerminateInstance(s_data); }
    static std::int32_t Clean() { return _CleanInstance(s_data); }
    static bool HasInstance() { return s_data.instance != nullptr; }
    static void Reset() {
        delete static_cast<PhaseModule*>(s_data.instance);
        s_data = {};
        s_make = []() -> vModule* { return new PhaseModule; };
        s_failing.clear();
        s_status = -5;
        s_calls.clear();
    }
    static std::string TakeCalls() { return std::exchange(s_calls, {}); }

    static inline StaticData s_data;
    static inline Maker s_make;
    static inline std::string s_failing;
    static inline std::int32_t s_status;
    static inline std::string s_calls;

    ~PhaseModule() override { s_calls += "gone "; }

protected:
    static std::int32_t Note(const char* phase) {
        s_calls += std::string(phase) + ' ';
        return s_failing == phase ? s_status : 3;  // a positive status is a success
    }
    std::int32_t _LoadStatic() override { return Note("load"); }
    std::int32_t _CreateSingletons() override { return Note("create"); }
    std::int32_t _DestroySingletons() override { return Note("destroy"); }
    std::int32_t _CreateDefaultResources() override { return Note("resources"); }
    std::int32_t _DestroyDefaultResources() override { return Note("unresources"); }
    std::int32_t _EnableStreamedImplementation() override { return Note("stream"); }
    std::int32_t _Clean() override { return Note("clean"); }
};

TEST(vModule, RunsItsPhasesInOrderAndBack) {
    PhaseModule::Reset();
    EXPECT_EQ(PhaseModule::Terminate(), kEUnexpected);
    EXPECT_EQ(PhaseModule::Clean(), kEUnexpected);
    EXPECT_EQ(PhaseModule::Initialize(), 0);
    EXPECT_EQ(PhaseModule::Initialize(), 1247);
    EXPECT_EQ(PhaseModule::Clean(), 0);
    EXPECT_EQ(PhaseModule::TakeCalls(), "load create resources stream clean ");
    EXPECT_EQ(PhaseModule::Terminate(), 0);
    EXPECT_EQ(PhaseModule::TakeCalls(), "unresources destroy gone ");
    EXPECT_EQ(PhaseModule::Terminate(), kEUnexpected);
    EXPECT_EQ(PhaseModule::Initialize(), 0);
    PhaseModule::Reset();
}

TEST(vModule, IsBrokenByAFailedPhaseForGood) {
    const struct {
        const char* failing;
        const char* calls;
    } kCases[] = {{"load", "load "},
                  {"create", "load create "},
                  {"resources", "load create resources "},
                  {"stream", "load create resources stream "}};
    for (const auto& each : kCases) {
        SCOPED_TRACE(each.failing);
        PhaseModule::Reset();
        PhaseModule::s_failing = each.failing;
        EXPECT_EQ(PhaseModule::Initialize(), -5);
        EXPECT_EQ(PhaseModule::TakeCalls(), each.calls);
        EXPECT_TRUE(PhaseModule::HasInstance());
        PhaseModule::s_failing.clear();
        EXPECT_EQ(PhaseModule::Initialize(), kEPointer);
        EXPECT_EQ(PhaseModule::Terminate(), kEUnexpected);
        EXPECT_EQ(PhaseModule::Clean(), kEUnexpected);
        EXPECT_EQ(PhaseModule::TakeCalls(), "");
    }
    PhaseModule::Reset();
}

TEST(vModule, StaysUpWhenItCannotEndAndComesBackFromWantOfMemory) {
    PhaseModule::Reset();
    PhaseModule::s_make = []() -> vModule* { return nullptr; };
    EXPECT_EQ(PhaseModule::Initialize(), kEOutOfMemory);
    PhaseModule::Reset();
    EXPECT_EQ(PhaseModule::Initialize(), 0);
    for (const char* failing : {"unresources", "destroy"}) {
        PhaseModule::s_failing = failing;
        EXPECT_EQ(PhaseModule::Terminate(), -5) << failing;
        EXPECT_EQ(PhaseModule::Initialize(), 1247) << failing;
    }
    PhaseModule::s_failing = "clean";
    EXPECT_EQ(PhaseModule::Clean(), -5);
    PhaseModule::Reset();
    PhaseModule::s_data.initialized = true;  // the state of a record that lost its object
    EXPECT_EQ(PhaseModule::Terminate(), kEPointer);
    EXPECT_EQ(PhaseModule::Clean(), kEPointer);
    PhaseModule::Reset();
}

}  // namespace
