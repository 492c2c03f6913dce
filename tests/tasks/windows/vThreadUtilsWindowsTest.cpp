#include "ZelREKernel/tasks/vThreadUtils.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <string>
#include <thread>

#include "support/CaptureStream.h"

namespace {

using GetDescription = HRESULT WINAPI(HANDLE thread, wchar_t** description);

std::wstring NameAfter(const std::string& given) {
    std::wstring name;
    std::thread([&] {
        vThreadUtils::SetThreadName(given.c_str());
        const FARPROC found =
            GetProcAddress(GetModuleHandleW(L"KernelBase.dll"), "GetThreadDescription");
        ASSERT_NE(found, nullptr);
        wchar_t* text = nullptr;
        ASSERT_GE(reinterpret_cast<GetDescription*>(reinterpret_cast<void*>(found))(
                      GetCurrentThread(), &text),
                  0);
        name = text;
        LocalFree(text);
    }).join();
    return name;
}

TEST(vThreadUtils, SystemKeepsWholeCharactersOfAName) {
    const auto repeat = [](const char* text, int count) {
        std::string all;
        while (count-- > 0) {
            all += text;
        }
        return all;
    };
    const struct {
        std::string given;
        std::wstring kept;
    } cases[] = {
        {"", L""},
        {"Thread Pool", L"Thread Pool"},
        {"gr\u00fc\u00df \u4f60 \U0001F600", L"gr\u00fc\u00df \u4f60 \U0001F600"},
        {std::string(127, 'n'), std::wstring(127, L'n')},
        {std::string(300, 'n'), std::wstring(127, L'n')},
        {repeat("\u4f60", 300), std::wstring(127, L'\u4f60')},  // three bytes each
        // Two units each: the last that begins inside does not end inside.
        {repeat("\U0001F600", 63) + "x", std::wstring(63 * 2, L' ') + L"x"},
        {repeat("\U0001F600", 64), std::wstring(63 * 2, L' ')},
    };
    for (const auto& c : cases) {
        std::wstring name = NameAfter(c.given);
        if (c.given.size() > 200 && c.given[0] == '\xF0') {
            for (std::size_t i = 0; i + 1 < name.size() && IS_SURROGATE_PAIR(name[i], name[i + 1]);
                 i += 2) {
                name[i] = name[i + 1] = L' ';
            }
        }
        EXPECT_EQ(name, c.kept) << c.given;
    }
}

// The mask of the processors that the calling thread may run on.
ULONG_PTR BoundTo() {
    GROUP_AFFINITY affinity = {};
    return GetThreadGroupAffinity(GetCurrentThread(), &affinity) ? affinity.Mask : 0;
}

TEST(vThreadUtils, AffinityBindsToOneProcessorOrLeavesTheThreadAlone) {
    std::thread([] {
        const unsigned usable = GetCurrentProcessorNumber();
        const ULONG_PTR mask = ULONG_PTR{1} << usable;
        vThreadUtils::SetThreadAffinity(0, usable);
        EXPECT_EQ(BoundTo(), mask);
        test::CaptureStream output(1);
        // None of these is a group of any machine that runs this; the last is 0 cut to 16 bits.
        for (const unsigned group : {1023u, 0xFFFFu, 0x10000u}) {
            vThreadUtils::SetThreadAffinity(group, usable);
            EXPECT_EQ(BoundTo(), mask) << group;
        }
        const std::string line = "[ERROR]\t : Fail to set Affinity\n";
        EXPECT_EQ(output.Text(), line + line + line);
        for (const unsigned cpu : {64u, 64u + usable, 0xFFFFFFFFu}) {
            vThreadUtils::SetThreadAffinity(0, cpu);
            EXPECT_EQ(BoundTo(), mask) << cpu;
        }
        EXPECT_EQ(output.Text().size(), 3 * line.size());
    }).join();
}

}  // namespace
