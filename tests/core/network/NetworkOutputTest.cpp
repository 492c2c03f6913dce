#include <MekHost/MekStatus.h>
#include <MekHost/process/MekStartProcess.h>
#include <MekHost/system/MekSockets.h>
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "ZelREKernel/core/vLoggerOutput.h"
#include "support/TempDir.h"
#include "support/WaitUntil.h"

namespace {

using ZKL::vLoggerOutput;

constexpr int kPort = 4666;

bool EndsWith(const std::string& text, const std::string& end) {
    return text.size() >= end.size() &&
           text.compare(text.size() - end.size(), end.size(), end) == 0;
}

// The port is fixed and the machine's; another listener on it would make every case here hang.
class NetworkOutput : public testing::Test {
protected:
    void SetUp() override {
        MekSocketConnector probe(kPort, 1, 2);
        ASSERT_EQ(probe.Declare(), kMekOk) << "port 4666 of this machine is in use";
    }

    // Starts one of the helper programs and returns its exit code, 0 when it is not waited for.
    static int Run(std::vector<const char*> arguments, bool waits) {
        arguments.push_back(nullptr);
        int result = 0;
        int error = 0;
        EXPECT_EQ(MekStartProcess(arguments[0], arguments.data(), waits, result, error), kMekOk)
            << error;
        return waits ? result : 0;
    }
    // Starts a viewer process that copies what it receives into `file`.
    static void StartViewer(const std::string& file) {
        Run({ZEL_TEST_BIN_DIR "/core-viewer", file.c_str()}, false);
    }

    // Writes a mark until the viewer has received it.
    static bool Reach(vLoggerOutput* output, const std::string& file, const std::string& mark) {
        return test::WaitUntil([&] {
            output->Write(mark);
            return test::ReadText(file).find(mark) != std::string::npos;
        });
    }

    static MekSockets* Connect() {
        MekSockets* connection = nullptr;
        test::WaitUntil([&connection] {
            return MekSockets::Connect("127.0.0.1", kPort, 1000, &connection) == kMekOk;
        });
        return connection;
    }

    const test::TempDir directory_;
};

TEST_F(NetworkOutput, ServesTheViewerThatCameLastAndSaysGoodbye) {
    vLoggerOutput* const output = vLoggerOutput::Create("network");
    output->Write("nobody hears this\n");
    const std::string first = directory_.File("first");
    const std::string second = directory_.File("second");
    StartViewer(first);
    ASSERT_TRUE(Reach(output, first, "ping\n"));
    StartViewer(second);
    ASSERT_TRUE(Reach(output, second, "pong\n"));
    output->Write(std::string("the ") + std::string(100000, 'x') + " end\n");
    output->Release();
    ASSERT_TRUE(test::WaitUntil([&] {
        return EndsWith(test::ReadText(second), "<end>") &&
               EndsWith(test::ReadText(first), "<end>");
    }));
    EXPECT_EQ(test::ReadText(first).find("KILL"), std::string::npos);
    EXPECT_EQ(test::ReadText(first).find("nobody"), std::string::npos);
    EXPECT_TRUE(EndsWith(test::ReadText(second), "xxx end\n--KILL_SOCKET--<end>"));
}

TEST_F(NetworkOutput, DropsAViewerThatDoesNotReadWithoutTearingALine) {
    vLoggerOutput* const output = vLoggerOutput::Create("network");
    MekSockets* const viewer = Connect();
    ASSERT_NE(viewer, nullptr);
    char byte = 0;
    std::size_t received = 0;
    ASSERT_TRUE(test::WaitUntil([&] {
        output->Write("\n");
        return viewer->Receive(&byte, 1, 0, &received) == kMekOk;
    }));
    // Each line has its number and a size that no socket buffer takes a whole number of. More than
    // any socket buffer holds, so that the viewer is sure to fail six times.
    for (int line = 0; line < 40; ++line) {
        output->Write(std::to_string(line) + std::string(1'000'003, '.') + "\n");
    }
    std::string text;
    std::string chunk(65536, '\0');
    while (viewer->Receive(chunk.data(), chunk.size(), 60000, &received) == kMekOk) {
        text.append(chunk, 0, received);
    }
    delete viewer;
    // What came is whole lines in order, and a torn one at most where the connection was cut.
    text.erase(0, text.find_first_not_of('\n'));
    int previous = -1;
    for (std::size_t at = 0, end = 0; (end = text.find('\n', at)) != std::string::npos;
         at = end + 1) {
        const int line = std::stoi(text.substr(at, 3));
        EXPECT_GT(line, previous);
        EXPECT_EQ(end - at, std::to_string(line).size() + 1'000'003) << line;
        previous = line;
    }
    EXPECT_LT(previous, 39);
    // The next viewer starts with a clean record.
    const std::string file = directory_.File("next");
    StartViewer(file);
    EXPECT_TRUE(Reach(output, file, "welcome\n"));
    output->Release();
    ASSERT_TRUE(test::WaitUntil([&] { return EndsWith(test::ReadText(file), "<end>"); }));
    EXPECT_TRUE(EndsWith(test::ReadText(file), "welcome\n--KILL_SOCKET--<end>"));
}

TEST_F(NetworkOutput, FinishesALineThatATimeOutCutAndDropsOthersWhole) {
    vLoggerOutput* const output = vLoggerOutput::Create("network");
    MekSockets* const viewer = Connect();
    ASSERT_NE(viewer, nullptr);
    std::string text;
    const auto readWhatIsThere = [&text, viewer] {
        static std::string s_chunk(1 << 20, '\0');
        std::size_t received = 0;
        while (viewer->Receive(s_chunk.data(), s_chunk.size(), 0, &received) == kMekOk) {
            text.append(s_chunk, 0, received);
        }
    };
    ASSERT_TRUE(test::WaitUntil([&] {
        output->Write("first\n");
        readWhatIsThere();
        return !text.empty();
    }));
    const std::string large = std::string(8'000'000, '.') + "\n";  // no socket buffer takes it all
    output->Write(large);
    output->Write("dropped\n");
    ASSERT_TRUE(test::WaitUntil([&] {
        readWhatIsThere();
        output->Write("last\n");
        return text.ends_with("last\n");
    }));
    output->Release();
    delete viewer;
    text.erase(0, text.find('.'));
    EXPECT_TRUE(text.starts_with(large + "last\n"));
}

TEST_F(NetworkOutput, EndsWithItsProcess) {
    const std::string file = directory_.File("log");
    StartViewer(file);
    EXPECT_EQ(Run({ZEL_TEST_BIN_DIR "/core-child", "network", file.c_str()}, true), 0);
    ASSERT_TRUE(test::WaitUntil([&] { return EndsWith(test::ReadText(file), "<end>"); }));
    EXPECT_TRUE(EndsWith(test::ReadText(file), "ping\n--KILL_SOCKET--<end>"));
}

TEST_F(NetworkOutput, FreesThePortAndLeavesASecondOneSilent) {
    for (int round = 0; round < 3; ++round) {
        vLoggerOutput* const output = vLoggerOutput::Create("network");
        MekSockets* const viewer = Connect();  // so it listens
        ASSERT_NE(viewer, nullptr);
        vLoggerOutput* const second = vLoggerOutput::Create("network");
        second->Write("silent\n");
        second->Release();
        output->Release();
        delete viewer;
        MekSocketConnector probe(kPort, 1, 2);
        EXPECT_EQ(probe.Declare(), kMekOk) << round;
    }
}

}  // namespace
