#include "core/windows/RecordsTopology.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace {

using Record = SYSTEM_LOGICAL_PROCESSOR_INFORMATION;

Record MakeRecord(LOGICAL_PROCESSOR_RELATIONSHIP relationship, ULONG_PTR mask) {
    Record record = {};
    record.Relationship = relationship;
    record.ProcessorMask = mask;
    return record;
}

// What the system says; every time it is asked with too little room it wants `growth` records more.
std::vector<Record> s_records;
std::size_t s_growth;
DWORD s_error;
int s_calls;

BOOL WINAPI Answer(Record* out, DWORD* bytes) {
    ++s_calls;
    const auto size = static_cast<DWORD>(s_records.size() * sizeof(Record));
    if (s_error != 0 || *bytes < size) {
        *bytes = size;
        SetLastError(s_error != 0 ? s_error : ERROR_INSUFFICIENT_BUFFER);
        s_records.resize(s_records.size() + s_growth, MakeRecord(RelationProcessorCore, 3));
        s_growth /= 2;
        return FALSE;
    }
    std::copy(s_records.begin(), s_records.end(), out);
    *bytes = size;
    return TRUE;
}

TEST(RecordsTopology, CountsWhatTheSystemSays) {
    const std::vector<Record> machine = {
        MakeRecord(RelationProcessorCore, 3),
        MakeRecord(RelationCache, 3),
        MakeRecord(RelationProcessorPackage, 0xF),
        MakeRecord(RelationProcessorCore, 0x8),
        MakeRecord(RelationNumaNode, 0xF),
        MakeRecord(RelationNumaNode, ~ULONG_PTR{0}),
        MakeRecord(RelationProcessorCore, ULONG_PTR{1} << 63 | 0x10)};
    const struct {
        const char* what;
        std::vector<Record> records;
        std::size_t growth;
        DWORD error;
        bool succeeds;
        ZKL::ProcessorCounts expected;  // nodes, cores, processors
        int calls;
    } cases[] = {
        {"one machine", machine, 0, 0, true, {2, 3, 5}, 2},
        {"processors come while it is asked", machine, 2, 0, true, {2, 6, 11}, 4},
        {"another error", machine, 0, ERROR_ACCESS_DENIED, false, {7, 7, 7}, 1},
        {"nothing", {}, 0, 0, true, {0, 0, 0}, 1},
    };
    for (const auto& c : cases) {
        s_records = c.records;
        s_growth = c.growth;
        s_error = c.error;
        s_calls = 0;
        ZKL::ProcessorCounts counts = {7, 7, 7};
        EXPECT_EQ(ZKL::ReadRecordsTopology(&Answer, counts), c.succeeds) << c.what;
        EXPECT_EQ(counts.nodes, c.expected.nodes) << c.what;
        EXPECT_EQ(counts.cores, c.expected.cores) << c.what;
        EXPECT_EQ(counts.processors, c.expected.processors) << c.what;
        EXPECT_EQ(s_calls, c.calls) << c.what;
    }
}

}  // namespace
