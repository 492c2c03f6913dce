#pragma once

// Counts processors, cores and nodes in the records of GetLogicalProcessorInformation.

#include <windows.h>

#include "core/ProcessorCounts.h"

namespace ZKL {

using ProcessorRecordsQuery = BOOL WINAPI(SYSTEM_LOGICAL_PROCESSOR_INFORMATION* records,
                                          DWORD* bytes);

// Asks `query` with a buffer that grows to the size it wants. Returns false, leaving `out` as it
// was, when it fails for another reason or there is no memory.
bool ReadRecordsTopology(ProcessorRecordsQuery* query, ProcessorCounts& out) noexcept;

}  // namespace ZKL
