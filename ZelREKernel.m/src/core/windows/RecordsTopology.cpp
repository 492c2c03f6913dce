#include "core/windows/RecordsTopology.h"

#include <bit>
#include <cstdint>
#include <memory>
#include <new>

namespace ZKL {
namespace {

using Record = SYSTEM_LOGICAL_PROCESSOR_INFORMATION;

}  // namespace

bool ReadRecordsTopology(ProcessorRecordsQuery* query, ProcessorCounts& out) noexcept {
    std::unique_ptr<Record[]> records;
    DWORD bytes = 0;
    while (query(records.get(), &bytes) == 0) {
        if (GetLastError() != ERROR_INSUFFICIENT_BUFFER) {
            return false;
        }
        records.reset(new (std::nothrow) Record[(bytes + sizeof(Record) - 1) / sizeof(Record)]);
        if (!records) {
            return false;
        }
    }
    ProcessorCounts counts;
    for (const Record* record = records.get(); record != records.get() + bytes / sizeof(Record);
         ++record) {
        if (record->Relationship == RelationProcessorCore) {
            ++counts.cores;
            counts.processors +=
                static_cast<std::uint32_t>(std::popcount(std::uint64_t{record->ProcessorMask}));
        } else if (record->Relationship == RelationNumaNode) {
            ++counts.nodes;
        }
    }
    out = counts;
    return true;
}

}  // namespace ZKL
