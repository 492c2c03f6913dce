#include "core/ProcessorTopology.h"

#include "core/windows/RecordsTopology.h"

namespace ZKL {

bool QueryProcessorTopology(ProcessorCounts& out) noexcept {
    const HMODULE kernel = GetModuleHandleW(L"kernel32");
    const FARPROC query =
        kernel ? GetProcAddress(kernel, "GetLogicalProcessorInformation") : nullptr;
    return query &&
           ReadRecordsTopology(
               reinterpret_cast<ProcessorRecordsQuery*>(reinterpret_cast<void*>(query)), out);
}

}  // namespace ZKL
