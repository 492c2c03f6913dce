#include <MekHost/MekStatus.h>
#include <MekHost/system/MekSockets.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "ZelREKernel/core/vLog.h"
#include "ZelREKernel/core/vLoggerManager.h"
#include "core/linux/InChild.h"
#include "support/WaitUntil.h"

namespace {

using Viewer = std::unique_ptr<MekSockets>;

Viewer Connect() {
    MekSockets* connection = nullptr;
    test::WaitUntil([&connection] {
        return MekSockets::Connect("127.0.0.1", 4666, 1000, &connection) == kMekOk;
    });
    return Viewer(connection);
}

// Logs the line until the viewer has it; returns what came. Empty when it does not come.
std::string ReceiveUntil(MekSockets& viewer, const char* line) {
    std::string text;
    const bool came = test::WaitUntil([&] {
        ZKL::LogRufx(ZKL::vLogger::eInfo, "%s", line);
        char chunk[4096];
        std::size_t received = 0;
        if (viewer.Receive(chunk, sizeof(chunk), 1, &received) == kMekOk) {
            text.append(chunk, received);
        }
        return text.find(line) != std::string::npos;
    });
    return came ? text : "";
}

TEST(ForkedChild, LeavesListenerAndViewerToItsParent) {
    ZKL::vLogger& channel =
        ZKL::vLoggerManager::GetInstance().GetLogger(ZKL::vLoggerManager::eRufx);
    channel.SetOutput("network");
    const Viewer first = Connect();
    ASSERT_NE(first, nullptr);
    EXPECT_NE(ReceiveUntil(*first, "before"), "");
    EXPECT_EQ(test::InChild([] { ZKL::LogRufx(ZKL::vLogger::eInfo, "child"); }), 0);
    EXPECT_EQ(test::InChild([&channel] { channel.SetOutput("stderr"); }), 0);
    const std::string text = ReceiveUntil(*first, "after");
    EXPECT_NE(text, "");
    EXPECT_EQ(text.find("child"), std::string::npos);
    EXPECT_EQ(text.find("KILL"), std::string::npos);
    const Viewer second = Connect();
    ASSERT_NE(second, nullptr);
    EXPECT_NE(ReceiveUntil(*second, "again"), "");
    channel.SetOutput("stdout");
}

}  // namespace
