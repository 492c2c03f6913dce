#pragma once

// The memory of this process as the system lists it. Safe in a signal handler.

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "diagnostics/linux/RawArray.h"

namespace ZKL {

struct Mapping {
    std::uint64_t begin;
    std::uint64_t end;
    std::uint64_t offset;  // into the file
    bool readable;
    bool anonymous;      // private memory of no file: a page that was never touched is nowhere
    bool wanted;         // not marked as to be left out of dumps, and no device
    std::uint32_t path;  // where the file's name starts in MapList::names; 0 is the empty name
};

// Everything that is mapped, in the order of addresses.
// Source: proc(5), /proc/<pid>/smaps; madvise(2), MADV_DONTDUMP.
class MapList {
public:
    MapList();
    // Reads the list anew; false when it cannot be read or is too long.
    bool Read();

    const RawArray<Mapping>& Mappings() const { return mappings_; }
    const char* PathOf(const Mapping& mapping) const { return names_.begin() + mapping.path; }
    // The readable mapping that holds `address`, or the first one that begins at most `slack` bytes
    // above it; null when there is none.
    const Mapping* Find(std::uint64_t address, std::uint64_t slack) const;

private:
    bool AddMapping(std::string_view line);

    RawArray<Mapping> mappings_;
    RawArray<char> names_;
};

// Copies from this process's memory without a fault where there is none; false if a byte is
// missing.
bool ReadMemory(std::uint64_t address, void* to, std::size_t bytes);

}  // namespace ZKL
