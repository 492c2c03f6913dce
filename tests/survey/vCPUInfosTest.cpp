#include "ZelREKernel/core/vCPUInfos.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "ZelREKernel/core/vLoggerManager.h"
#include "support/TempDir.h"

namespace {

TEST(vCPUInfos, SeveralFirstCallersGetOneRecordAndOneLineIsLogged) {
    const test::TempDir directory;
    ZKL::vLogger& log =
        ZKL::vLoggerManager::GetInstance().GetLogger(ZKL::vLoggerManager::eAbendTrace);
    log.SetOutput(directory.File("log").c_str());
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([] {
            ZKL::vCPUInfos copy;
            ZKL::GetCPUInfos(copy);
            const ZKL::vCPUInfos& record = ZKL::GetCPUInfos();
            EXPECT_EQ(copy.features, record.features);
            EXPECT_EQ(copy.numaNodes, record.numaNodes);
            EXPECT_EQ(copy.cores, record.cores);
            EXPECT_EQ(copy.logicalProcessors, record.logicalProcessors);
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    const ZKL::vCPUInfos& record = ZKL::GetCPUInfos();
    EXPECT_GE(record.numaNodes, 1u);
    EXPECT_GE(record.cores, record.numaNodes);
    EXPECT_GE(record.logicalProcessors, record.cores);
    EXPECT_EQ(test::ReadText(directory.File("log")),
              std::string("AVX Support : ") + (ZKL::IsAVXSupported() ? "1" : "0") +
                  "\n, AVX2 Support : " + (ZKL::IsAVX2Supported() ? "1" : "0") + "\n");
    log.SetOutput("abendTrace");
    EXPECT_EQ(ZKL::IsSSE4Supported(), (record.features & 8) != 0);
    EXPECT_EQ(ZKL::IsAVXSupported(), (record.features & 32) != 0);
    EXPECT_EQ(ZKL::IsAVX2Supported(), (record.features & 64) != 0);
}

}  // namespace
