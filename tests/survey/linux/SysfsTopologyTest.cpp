#include "core/linux/SysfsTopology.h"

#include <gtest/gtest.h>
#include <sched.h>

#include <fstream>
#include <sstream>

#include "ZelREKernel/core/vCPUInfos.h"
#include "core/ProcessorTopology.h"

namespace {

ZKL::ProcessorSet Range(std::size_t first, std::size_t last) {
    ZKL::ProcessorSet set;
    for (; first <= last; ++first) {
        set.set(first);
    }
    return set;
}

TEST(SysfsTopology, CapturedMachines) {
    const ZKL::ProcessorSet all = Range(0, ZKL::kMaximumProcessors - 1);
    const struct {
        const char* what;
        const char* tree;
        ZKL::ProcessorSet usable;
        ZKL::ProcessorCounts expected;  // nodes, cores, processors
    } cases[] = {
        // Sixteen processors; both threads of one core and one thread of another are offline, and
        // core numbers repeat in the second socket.
        {"whole machine", "sysfs-two-sockets", all, {2, 7, 13}},
        {"first threads", "sysfs-two-sockets", Range(0, 7), {2, 6, 6}},
        {"one socket", "sysfs-two-sockets", Range(0, 3) | Range(8, 11), {1, 4, 7}},
        {"one core", "sysfs-two-sockets", Range(8, 8) | Range(0, 0), {1, 1, 2}},
        {"second thread alone", "sysfs-two-sockets", Range(12, 12), {1, 1, 1}},
        {"one processor", "sysfs-one-processor", all, {1, 1, 1}},
        {"nodes of memory alone, older names", "sysfs-memory-nodes", all, {1, 2, 4}},
        {"no topology, no nodes", "sysfs-no-topology", all, {1, 4, 4}},
        {"nothing readable", "sysfs-broken", Range(0, 1), {1, 2, 2}},
        {"no tree", "sysfs-nowhere", Range(0, 11), {1, 12, 12}},
    };
    for (const auto& c : cases) {
        const ZKL::ProcessorCounts found =
            ZKL::ReadSysfsTopology(std::string(ZEL_TEST_DATA_DIR "/") + c.tree, c.usable);
        EXPECT_EQ(found.nodes, c.expected.nodes) << c.what;
        EXPECT_EQ(found.cores, c.expected.cores) << c.what;
        EXPECT_EQ(found.processors, c.expected.processors) << c.what;
    }
}

TEST(SysfsTopology, LiveSurveyKeepsToWhatTheProcessMayUse) {
    cpu_set_t before;
    ASSERT_EQ(sched_getaffinity(0, sizeof before, &before), 0);
    EXPECT_EQ(ZKL::GetCPUInfos().logicalProcessors, static_cast<unsigned>(CPU_COUNT(&before)));

    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(static_cast<std::size_t>(sched_getcpu()), &one);
    ASSERT_EQ(sched_setaffinity(0, sizeof one, &one), 0);
    ZKL::ProcessorCounts found;
    EXPECT_TRUE(ZKL::QueryProcessorTopology(found));
    ASSERT_EQ(sched_setaffinity(0, sizeof before, &before), 0);
    EXPECT_EQ(found.nodes, 1u);
    EXPECT_EQ(found.cores, 1u);
    EXPECT_EQ(found.processors, 1u);
}

}  // namespace
