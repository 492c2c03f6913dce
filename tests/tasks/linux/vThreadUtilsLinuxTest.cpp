#include "ZelREKernel/tasks/vThreadUtils.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <sched.h>

#include <string>
#include <thread>

#include "support/CaptureStream.h"

namespace {

std::string NameAfter(const char* given) {
    char name[16] = "";
    std::thread([&] {
        vThreadUtils::SetThreadName(given);
        pthread_getname_np(pthread_self(), name, sizeof name);
    }).join();
    return name;
}

TEST(vThreadUtils, SystemKeepsWholeCharactersOfAName) {
    const struct {
        const char* given;
        const char* kept;
    } cases[] = {
        {"", ""},
        {"Thread Pool", "Thread Pool"},
        {"exactly 15 byte", "exactly 15 byte"},
        {"sixteen bytes xx", "sixteen bytes x"},
        {"fourteen bytes\u00e9", "fourteen bytes"},      // two bytes, one would fit
        {"thirteen byte\u00e9", "thirteen byte\u00e9"},  // two bytes, both fit
        {"twelve bytes\U0001F600", "twelve bytes"},      // four bytes, three would fit
        {"\x80\x80\x80\x80\x80\x80\x80\x80\x80\x80\x80\x80\x80\x80\x80\x80\x80",
         "\x80\x80\x80\x80\x80\x80\x80\x80\x80\x80\x80\x80\x80\x80\x80"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(NameAfter(c.given), c.kept) << c.given;
    }
    EXPECT_EQ(NameAfter(std::string(300, 'n').c_str()), std::string(15, 'n'));
}

// The processor the calling thread is bound to, -1 when there are several.
int BoundTo() {
    cpu_set_t mask;
    if (sched_getaffinity(0, sizeof mask, &mask) != 0 || CPU_COUNT(&mask) != 1) {
        return -1;
    }
    std::size_t processor = 0;
    while (!CPU_ISSET(processor, &mask)) {
        ++processor;
    }
    return static_cast<int>(processor);
}

TEST(vThreadUtils, AffinityBindsToOneProcessorOrLeavesTheThreadAlone) {
    std::thread([] {
        const int usable = sched_getcpu();
        ASSERT_GE(usable, 0);
        const auto processor = static_cast<unsigned>(usable);
        vThreadUtils::SetThreadAffinity(processor / 64, processor % 64);
        EXPECT_EQ(BoundTo(), usable);
        test::CaptureStream output(1);
        // None of these is a processor of any machine that runs this.
        for (const unsigned group : {1023u, 1024u, 0xFFFFFFFFu}) {
            vThreadUtils::SetThreadAffinity(group, 63);
            EXPECT_EQ(BoundTo(), usable) << group;
        }
        const std::string line = "[ERROR]\t : Fail to set Affinity\n";
        EXPECT_EQ(output.Text(), line + line + line);
        for (const unsigned cpu : {64u, 64u + processor % 64, 0xFFFFFFFFu}) {
            vThreadUtils::SetThreadAffinity(0, cpu);
            EXPECT_EQ(BoundTo(), usable) << cpu;
        }
        EXPECT_EQ(output.Text().size(), 3 * line.size());
    }).join();
}

}  // namespace
