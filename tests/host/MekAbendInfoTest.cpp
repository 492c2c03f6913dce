#include <MekHost/MekStatus.h>
#include <MekHost/process/MekAbendInfo.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <fstream>
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
    ExpectReport("");
    MekAbendInfo first(0);
    first.Append("line\n");
    first.Append(static_cast<const char*>(nullptr));
    ExpectReport("");  // not in the report yet
    EXPECT_EQ(first.SetInformationSpecs(0, nullptr, 1, 1), kMekInvalidParameter);
    EXPECT_EQ(first.SetInformationSpecs(0, "FIRST", 1, 1), kMekOk);
    {
        MekAbendInfo before(16);
        EXPECT_EQ(before.SetInformationSpecs(16, "BEFORE", 1, 0), kMekOk);
        before.Append("no end");
        MekAbendInfo behind(16);
        EXPECT_EQ(behind.SetInformationSpecs(16, "BEHIND", 1, 1), kMekOk);
        ExpectReport("==== BEFORE ====\nno end\n==== FIRST ====\nline\n==== BEHIND ====\n\n");
        EXPECT_EQ(first.SetInformationSpecs(0, "LAST", 1, 1), kMekOk);
        EXPECT_EQ(before.SetInformationSpecs(16, "GONE", 0, 0), kMekOk);
        before.Clear();
        EXPECT_EQ(before.GetText(), "");
        ExpectReport("==== BEHIND ====\n\n==== LAST ====\nline\n");
    }
    ExpectReport("==== LAST ====\nline\n");
    EXPECT_EQ(MekAbendInfo::WriteReportToDescriptor(-1), kMekFailed);
}

TEST(MekAbendInfo, KeepsTheNewerHalfFromTheBeginningOfALine) {
    const std::string line = std::string(99, 'x') + '\n';  // ten of them are 1,000 bytes
    const auto repeat = [](const std::string& text, int count) {
        std::string all;
        while (count-- > 0) {
            all += text;
        }
        return all;
    };
    const auto lines = [&](int count) { return repeat(line, count); };
    const std::string umlauts = repeat("\xC3\xA4", 601);
    struct {
        unsigned sizeClass;
        std::string text;
        std::string added;
        std::string kept;
    } const kCases[] = {
        {0, lines(5000), "end", lines(5000) + "end"},
        {1, lines(10), std::string(24, 'e'), lines(10) + std::string(24, 'e')},  // just fits
        {1, lines(10), std::string(25, 'e'), lines(4) + std::string(25, 'e')},
        {1, "", lines(100) + "end", lines(10) + "end"},
        {1, "", std::string(1024, 'y'), std::string(1024, 'y')},
        {1, "a", std::string(1024, 'y'), std::string(512, 'y')},  // one long line
        {1, "", "x" + umlauts, umlauts.substr(0, 600)},
        {16, lines(163), line, lines(82)},
    };
    for (const auto& [sizeClass, text, added, kept] : kCases) {
        MekAbendInfo info(sizeClass);
        info.Append(text);
        info.Append(added.c_str());
        EXPECT_TRUE(info.GetText() == kept)
            << text.size() << " and " << added.size() << " bytes gave " << info.GetText().size();
    }
    MekAbendInfo shrunk(0);
    shrunk.Append(lines(30));
    EXPECT_EQ(shrunk.SetInformationSpecs(1, "SHRUNK", 0, 0), kMekOk);
    EXPECT_EQ(shrunk.GetText(), lines(7));
}

// Sections come, go, move and grow while two reports are written again and again; what a report
// holds is whole sections and nothing else.
TEST(MekAbendInfo, ReportsWhileSectionsChange) {
    for (const int threads : test::kThreadCounts) {
        std::atomic<int> running{threads};
        const test::TempDir directory;
        const int descriptor = open(directory.File("report").c_str(), O_CREAT | O_RDWR, 0600);
        test::OnThreads(threads + 1, [&](int i) {
            for (int round = 0; i < threads && round < 200 / threads + 1; ++round) {
                MekAbendInfo info(1);
                for (int step = 0; step < 20; ++step) {
                    info.SetInformationSpecs(1, "S", step % 5, step % 2);
                    info.Append("text of this section\n");
                }
            }
            running -= i < threads;
            while (i == threads && running > 0) {
                MekAbendInfo::WriteReport();
                EXPECT_EQ(MekAbendInfo::WriteReportToDescriptor(descriptor), kMekOk);
            }
        });
        close(descriptor);
        std::ifstream report(directory.File("report"));
        for (std::string line; std::getline(report, line);) {
            EXPECT_TRUE(line.empty() || line == "==== S ====" || line == "text of this section" ||
                        line == "==== (a section that is just being changed is left out) ====")
                << line;
        }
        ExpectReport("");
    }
}

}  // namespace
