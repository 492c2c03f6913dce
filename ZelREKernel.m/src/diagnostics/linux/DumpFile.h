#pragma once

// The file that a dump goes to: written front to back, with holes for memory that is zero. Safe in
// a signal handler.

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "diagnostics/linux/MinidumpFormat.h"

namespace ZKL {

class DumpFile {
public:
    // Makes the file by MakePrivateFile: a dump holds all that the process knew.
    explicit DumpFile(const char* path);
    ~DumpFile();
    DumpFile(const DumpFile&) = delete;
    DumpFile& operator=(const DumpFile&) = delete;

    // False from the first write on that failed.
    bool Good() const { return good_; }
    std::uint64_t Position() const { return position_; }

    // Each returns where the bytes lie.
    Minidump::Location Append(const void* data, std::size_t bytes);
    Minidump::Location AppendFile(const char* path);
    // The process's crash report, section by section.
    Minidump::Location AppendReport();
    // A text as the format wants it: its size, UTF-16, a zero. The source is UTF-8; what is none
    // becomes U+FFFD.
    std::uint32_t AppendText(std::string_view text);
    // This process's own memory at `address`. Where it cannot be read the file holds zeros.
    void AppendMemory(std::uint64_t address, std::uint64_t bytes);
    // Zeros that take no room on the disk.
    void Skip(std::uint64_t bytes);
    // Writes over what was left out before.
    void Overwrite(std::uint64_t position, const void* data, std::size_t bytes);
    // Gives the file the size that the holes at its end stand for.
    void Finish();

private:
    Minidump::Location From(std::uint64_t start) const;

    int file_;
    bool good_;
    std::uint64_t position_ = 0;
};

}  // namespace ZKL
