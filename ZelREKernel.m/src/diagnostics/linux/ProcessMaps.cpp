#include "diagnostics/linux/ProcessMaps.h"

#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <string_view>

#include "diagnostics/linux/RawText.h"

namespace ZKL {
namespace {

// The system's own default limit is 65,530.
constexpr std::size_t kMaximumMappings = std::size_t{1} << 20;
constexpr std::size_t kMaximumNameBytes = std::size_t{1} << 26;

void SkipWord(std::string_view& line) {
    line.remove_prefix(std::min(line.find(' '), line.size()));
    line.remove_prefix(std::min(line.find_first_not_of(' '), line.size()));
}

// Memory of a device can hang or change when it is read; shared memory is none.
bool IsDevice(std::string_view path) {
    return path.starts_with("/dev/") && !path.starts_with("/dev/shm/") &&
           !path.starts_with("/dev/zero");
}

}  // namespace

MapList::MapList() : mappings_(kMaximumMappings), names_(kMaximumNameBytes) {
    names_.Push('\0');
}

bool MapList::Read() {
    RawLines lines("/proc/self/smaps");
    std::string_view line;
    while (lines.Next(line)) {
        constexpr std::string_view kFlags = "VmFlags:";
        if (line.starts_with(kFlags)) {
            if (mappings_.Size() != 0 && line.find(" dd") != std::string_view::npos) {
                mappings_[mappings_.Size() - 1].wanted = false;
            }
        } else if (!line.empty() && !(line.front() >= 'A' && line.front() <= 'Z') &&
                   !AddMapping(line)) {
            return false;
        }
    }
    return mappings_.Size() != 0;
}

// "begin-end perms offset device inode  path", numbers but the inode hexadecimal.
bool MapList::AddMapping(std::string_view line) {
    Mapping mapping = {};
    mapping.begin = TakeNumber(line, 16);
    line.remove_prefix(1);
    mapping.end = TakeNumber(line, 16);
    line.remove_prefix(1);
    const std::string_view permissions = line.substr(0, 4);
    mapping.readable = permissions.starts_with('r');
    SkipWord(line);
    mapping.offset = TakeNumber(line, 16);
    line.remove_prefix(1);
    SkipWord(line);
    const std::uint64_t inode = TakeNumber(line, 10);
    SkipWord(line);
    mapping.anonymous = inode == 0 && permissions.ends_with('p');
    mapping.wanted = !IsDevice(line) && line != "[vvar]" && line != "[vsyscall]";
    if (!line.empty()) {
        mapping.path = static_cast<std::uint32_t>(names_.Size());
        for (const char c : line) {
            names_.Push(c);
        }
        if (!names_.Push('\0')) {
            return false;
        }
    }
    return mappings_.Push(mapping);
}

const Mapping* MapList::Find(std::uint64_t address, std::uint64_t slack) const {
    for (const Mapping& mapping : mappings_) {
        if (mapping.end > address && mapping.readable) {
            return mapping.begin <= address || mapping.begin - address <= slack ? &mapping
                                                                                : nullptr;
        }
    }
    return nullptr;
}

bool ReadMemory(std::uint64_t address, void* to, std::size_t bytes) {
    const iovec local = {to, bytes};
    // An address is what the system gave us as a number.
    const iovec remote = {reinterpret_cast<void*>(address),
                          bytes};  // NOLINT(performance-no-int-to-ptr)
    return process_vm_readv(getpid(), &local, 1, &remote, 1, 0) == static_cast<ssize_t>(bytes);
}

}  // namespace ZKL
