#include <MekHost/MekStatus.h>
#include <MekHost/process/MekAbendInfo.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <sstream>
#include <string>

#include "support/TempDir.h"
#include "support/Threads.h"

namespace {

// The report as the writer for a dying process leaves it in a file.
std::string RawReport() {
    const test::TempDir directory;
    const std::string name = directory.File("report");
    const int descriptor = open(name.c_str(), O_CREAT | O_RDWR, 0600);
    EXPECT_EQ(MekAbendInfo::WriteReportToDescriptor(descriptor), kMekOk);
    close(descriptor);
    return test::ReadFile(name);
}

void ExpectReport(const std::string& expected) {
    EXPECT_EQ(MekAbendInfo::WriteReport(), expected);
    EXPECT_EQ(RawReport(), expected);
}

TEST(MekAbendInfo, WritesItsSectionsInTheOrderAskedFor) {
    MekAbendInfo first(0);
    first.Append("line\n");
    ExpectReport("");  // not in the report yet
    first.SetInformationSpecs(0, "FIRST", 1, 1);
    {
        MekAbendInfo before(16);
        before.SetInformationSpecs(16, "BEFORE", 1, 0);
        before.Append("no end");
        MekAbendInfo behind(16);
        behind.SetInformationSpecs(16, "BEHIND", 1, 1);
        ExpectReport("==== BEFORE ====\nno end\n==== FIRST ====\nline\n==== BEHIND ====\n\n");
        first.SetInformationSpecs(0, "LAST", 1, 1);
        before.SetInformationSpecs(16, "GONE", 0, 0);
        ExpectReport("==== BEHIND ====\n\n==== LAST ====\nline\n");
    }
    ExpectReport("==== LAST ====\nline\n");
}

TEST(MekAbendInfo, KeepsTheNewerHalfFromTheBeginningOfALine) {
    const auto repeat = [](const std::string& text, int count) {
        std::string all;
        while (count-- > 0) {
            all += text;
        }
        return all;
    };
    const std::string line = std::string(99, 'x') + '\n';  // ten of them are 1,000 bytes
    const std::string umlauts = repeat("\xC3\xA4", 601);
    const std::string cases[][3] = {
        // text, what is added, what is kept
        {repeat(line, 10), std::string(24, 'e'), repeat(line, 10) + std::string(24, 'e')},
        {repeat(line, 10), std::string(25, 'e'), repeat(line, 4) + std::string(25, 'e')},
        {"a", std::string(1024, 'y'), std::string(512, 'y')},  // one long line
        {"x", umlauts, umlauts.substr(0, 600)},
    };
    for (const auto& [text, added, kept] : cases) {
        MekAbendInfo info(1);
        info.Append(text);
        info.Append(added.c_str());
        EXPECT_EQ(info.GetText(), kept);
    }
    MekAbendInfo shrunk(0);
    shrunk.Append(repeat(line, 30));
    shrunk.SetInformationSpecs(1, "SHRUNK", 0, 0);
    EXPECT_EQ(shrunk.GetText(), repeat(line, 7));
}

// Sections come, go, move and grow while two reports are written again and again; what a report
// holds is whole sections and nothing else.
TEST(MekAbendInfo, ReportsWhileSectionsChange) {
    constexpr int kThreads = 8;
    std::atomic<int> running{kThreads};
    test::OnThreads(kThreads + 1, [&](int i) {
        while (i == kThreads && running > 0) {
            MekAbendInfo::WriteReport();
            std::istringstream report(RawReport());
            for (std::string line; std::getline(report, line);) {
                EXPECT_TRUE(line.empty() || line == "==== S ====" ||
                            line == "text of this section" ||
                            line == "==== (a section that is just being changed is left out) ====")
                    << line;
            }
        }
        for (int round = 0; i < kThreads && round < 25; ++round) {
            MekAbendInfo info(1);
            for (int step = 0; step < 20; ++step) {
                info.SetInformationSpecs(1, "S", step % 5, step % 2);
                info.Append("text of this section\n");
            }
        }
        --running;
    });
    ExpectReport("");
}

}  // namespace
