#include "ZelREKernel/core/vCPUInfos.h"

#include <cpuid.h>

#include <atomic>
#include <mutex>

#include "ZelREKernel/base/vSlimLock.h"
#include "ZelREKernel/core/vLog.h"
#include "core/ProcessorTopology.h"

namespace ZKL {
namespace {

struct Leaf {
    unsigned int eax = 0;
    unsigned int ebx = 0;
    unsigned int ecx = 0;
    unsigned int edx = 0;
};

// All zero when the processor has no such leaf.
Leaf ReadLeaf(unsigned int number) {
    Leaf leaf;
    if (__get_cpuid_count(number, 0, &leaf.eax, &leaf.ebx, &leaf.ecx, &leaf.edx) == 0) {
        return {};
    }
    return leaf;
}

std::uint32_t ReadFeatures() {
    const Leaf basic = ReadLeaf(1);
    const Leaf extended = ReadLeaf(7);
    const struct {
        unsigned int word;
        unsigned int bit;
        std::uint32_t feature;
    } table[] = {
        {basic.edx, 25, vCPUInfos::kSSE},         {basic.edx, 26, vCPUInfos::kSSE2},
        {basic.ecx, 0, vCPUInfos::kSSE3},         {basic.ecx, 19, vCPUInfos::kSSE41},
        {basic.ecx, 20, vCPUInfos::kSSE42},       {basic.ecx, 28, vCPUInfos::kAVX},
        {extended.ebx, 5, vCPUInfos::kAVX2},      {extended.ebx, 28, vCPUInfos::kAVX512CD},
        {extended.ebx, 27, vCPUInfos::kAVX512ER}, {extended.ebx, 16, vCPUInfos::kAVX512F},
        {extended.ebx, 26, vCPUInfos::kAVX512PF},
    };
    std::uint32_t features = 0;
    for (const auto& row : table) {
        features |= (row.word >> row.bit & 1) ? row.feature : 0;
    }
    return features;
}

// The record, who may fill it, and whether it is filled.
constinit vCPUInfos s_record;
constexpr vCPUInfos kUnknown;
constinit vSlimLock s_surveyLock;
constinit std::atomic<bool> s_filled = false;

// Fills the record unless it is filled; returns whether it is.
bool Survey() {
    const std::lock_guard guard(s_surveyLock);
    // Relaxed: the lock already orders this read after the write of whoever filled the record.
    if (s_filled.load(std::memory_order_relaxed)) {
        return true;
    }
    ProcessorCounts topology;
    if (!QueryProcessorTopology(topology)) {
        return false;
    }
    const std::uint32_t features = ReadFeatures();
    LogAbendTrace(vLogger::eRelease, "AVX Support : %d\n, AVX2 Support : %d\n",
                  (features & vCPUInfos::kAVX) ? 1 : 0, (features & vCPUInfos::kAVX2) ? 1 : 0);
    s_record = {.features = features,
                .numaNodes = topology.nodes,
                .cores = topology.cores,
                .logicalProcessors = topology.processors};
    // Release pairs with the acquire in GetCPUInfos: who sees the flag sees the record.
    s_filled.store(true, std::memory_order_release);
    return true;
}

bool Has(std::uint32_t feature) {
    return (GetCPUInfos().features & feature) != 0;
}

}  // namespace

const vCPUInfos& GetCPUInfos() {
    // Acquire pairs with the release in Survey.
    const bool known = s_filled.load(std::memory_order_acquire) || Survey();
    return known ? s_record : kUnknown;
}

void GetCPUInfos(vCPUInfos& out) {
    out = GetCPUInfos();
}

bool IsSSE4Supported() {
    return Has(vCPUInfos::kSSE41);
}

bool IsAVXSupported() {
    return Has(vCPUInfos::kAVX);
}

bool IsAVX2Supported() {
    return Has(vCPUInfos::kAVX2);
}

}  // namespace ZKL
