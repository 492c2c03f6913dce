#include "core/linux/SysfsTopology.h"

#include <algorithm>
#include <cstddef>
#include <fstream>

namespace ZKL {
namespace {

// Reads "0-3,8,10-11" from `file` into `out`. False, with `out` in no particular state, when there
// is no such file or it holds something else; an empty line is an empty list.
bool ReadList(const std::string& file, ProcessorSet& out) {
    std::ifstream in(file);
    std::string line;
    if (!std::getline(in, line)) {
        return false;
    }
    out.reset();
    const char* at = line.c_str();
    const auto readNumber = [&](std::size_t& number) {
        const char* const first = at;
        for (number = 0; *at >= '0' && *at <= '9' && number < kMaximumProcessors; ++at) {
            number = number * 10 + static_cast<std::size_t>(*at - '0');
        }
        return at != first && number < kMaximumProcessors;
    };
    while (*at) {
        std::size_t first = 0;
        if (!readNumber(first)) {
            return false;
        }
        std::size_t last = first;
        if (*at == '-' && !readNumber((++at, last))) {
            return false;
        }
        for (std::size_t number = first; number <= last; ++number) {
            out.set(number);
        }
        if (*at && *at++ != ',') {
            return false;
        }
    }
    return true;
}

std::size_t Lowest(const ProcessorSet& set) {
    std::size_t number = 0;
    while (number < set.size() && !set[number]) {
        ++number;
    }
    return number;
}

// The processor that stands for the core of `processor`: the lowest of those that share it.
std::size_t CoreOf(const std::string& tree, std::size_t processor) {
    const std::string folder = tree + "/cpu/cpu" + std::to_string(processor) + "/topology/";
    ProcessorSet siblings;
    const bool known = (ReadList(folder + "core_cpus_list", siblings) ||
                        ReadList(folder + "thread_siblings_list", siblings)) &&
                       siblings[processor];
    return known ? Lowest(siblings) : processor;
}

std::size_t CountCores(const std::string& tree, const ProcessorSet& processors) {
    ProcessorSet cores;
    for (std::size_t processor = 0; processor < processors.size(); ++processor) {
        if (processors[processor]) {
            cores.set(CoreOf(tree, processor));
        }
    }
    return cores.count();
}

// Nodes of memory alone have no processors and do not count.
std::size_t CountNodes(const std::string& tree, const ProcessorSet& processors) {
    ProcessorSet nodes;
    if (!ReadList(tree + "/node/online", nodes)) {
        nodes.reset();
    }
    std::size_t count = 0;
    for (std::size_t node = 0; node < nodes.size(); ++node) {
        ProcessorSet members;
        if (nodes[node] &&
            ReadList(tree + "/node/node" + std::to_string(node) + "/cpulist", members) &&
            (members & processors).any()) {
            ++count;
        }
    }
    return std::max<std::size_t>(count, 1);
}

}  // namespace

ProcessorCounts ReadSysfsTopology(const std::string& tree, const ProcessorSet& usable) {
    ProcessorSet processors;
    if (!ReadList(tree + "/cpu/online", processors) || (processors & usable).none()) {
        processors = usable;
    }
    processors &= usable;
    return {.nodes = static_cast<std::uint32_t>(CountNodes(tree, processors)),
            .cores = static_cast<std::uint32_t>(CountCores(tree, processors)),
            .processors = static_cast<std::uint32_t>(processors.count())};
}

}  // namespace ZKL
