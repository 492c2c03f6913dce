#pragma once

// Reads the processors, cores and nodes of a machine from the tree that Linux shows under
// /sys/devices/system.
//
// Files: cpu/online, cpu/cpu<n>/topology/core_cpus_list (before Linux 5.3: thread_siblings_list),
// node/online, node/node<n>/cpulist; all hold processor or node numbers as "0-3,8,10-11". See
// Documentation/admin-guide/cputopology.rst and Documentation/ABI/stable/sysfs-devices-node of the
// Linux sources.

#include <bitset>
#include <string>

#include "core/ProcessorCounts.h"

namespace ZKL {

// As many as the largest Linux has.
inline constexpr std::size_t kMaximumProcessors = 8192;
using ProcessorSet = std::bitset<kMaximumProcessors>;

// What `tree` says of the processors in `usable`. Where it says nothing, the simplest machine is
// assumed: every usable processor online, a core of its own, all on one node.
ProcessorCounts ReadSysfsTopology(const std::string& tree, const ProcessorSet& usable);

}  // namespace ZKL
