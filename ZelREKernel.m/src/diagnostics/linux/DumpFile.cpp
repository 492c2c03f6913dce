#include "diagnostics/linux/DumpFile.h"

#include <MekHost/process/MekAbendInfo.h>
#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "diagnostics/linux/RawText.h"

namespace ZKL {
namespace {

constexpr std::uint64_t kPage = 4096;
constexpr std::uint64_t kMostAtOnce = std::uint64_t{1} << 30;

// Takes one code point off the front; U+FFFD and one byte where the bytes are no UTF-8.
char32_t TakeCodePoint(std::string_view& text) {
    constexpr char32_t kReplacement = 0xfffd;
    const auto byte = [&text](std::size_t i) {
        return static_cast<char32_t>(static_cast<unsigned char>(text[i]));
    };
    const char32_t first = byte(0);
    const std::size_t length = first < 0x80   ? 1
                               : first < 0xc2 ? 0
                               : first < 0xe0 ? 2
                               : first < 0xf0 ? 3
                               : first < 0xf5 ? 4
                                              : 0;
    char32_t code = length < 2 ? first : first & (0x7fu >> length);
    bool good = length != 0 && length <= text.size();
    for (std::size_t i = 1; good && i < length; ++i) {
        good = (byte(i) & 0xc0) == 0x80;
        code = code << 6 | (byte(i) & 0x3f);
    }
    text.remove_prefix(good ? length : 1);
    return good ? code : kReplacement;
}

}  // namespace

DumpFile::DumpFile(const char* path) : file_(MakePrivateFile(path, O_RDWR)), good_(file_ >= 0) {}

DumpFile::~DumpFile() {
    if (file_ >= 0) {
        close(file_);
    }
}

Minidump::Location DumpFile::From(std::uint64_t start) const {
    return {static_cast<std::uint32_t>(position_ - start), static_cast<std::uint32_t>(start)};
}

Minidump::Location DumpFile::Append(const void* data, std::size_t bytes) {
    const std::uint64_t start = position_;
    const char* at = static_cast<const char*>(data);
    while (good_ && bytes != 0) {
        const ssize_t written = write(file_, at, bytes);
        if (written < 0) {
            good_ = errno == EINTR;
            continue;
        }
        at += written;
        bytes -= static_cast<std::size_t>(written);
        position_ += static_cast<std::uint64_t>(written);
    }
    return From(start);
}

Minidump::Location DumpFile::AppendFile(const char* path) {
    const std::uint64_t start = position_;
    const int file = open(path, O_RDONLY | O_CLOEXEC);
    char buffer[4096];
    ssize_t got = 0;
    while (file >= 0 &&
           ((got = read(file, buffer, sizeof(buffer))) > 0 || (got < 0 && errno == EINTR))) {
        Append(buffer, static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
    }
    if (file >= 0) {
        close(file);
    }
    return From(start);
}

Minidump::Location DumpFile::AppendReport() {
    const std::uint64_t start = position_;
    if (good_) {
        good_ = MekAbendInfo::WriteReportToDescriptor(file_) == 0;
        position_ = static_cast<std::uint64_t>(std::max<off_t>(lseek(file_, 0, SEEK_CUR), 0));
    }
    return From(start);
}

std::uint32_t DumpFile::AppendText(std::string_view text) {
    const auto start = static_cast<std::uint32_t>(position_);
    constexpr std::size_t kMostUnits = 4096;
    char16_t units[kMostUnits + 1];
    std::uint32_t count = 0;
    while (!text.empty() && count + 2 <= kMostUnits) {
        const char32_t code = TakeCodePoint(text);
        if (code >= 0x10000) {
            units[count++] = static_cast<char16_t>(0xd800 + ((code - 0x10000) >> 10));
            units[count++] = static_cast<char16_t>(0xdc00 + (code & 0x3ff));
        } else {
            units[count++] = static_cast<char16_t>(code);
        }
    }
    units[count] = 0;
    const std::uint32_t bytes = count * 2;
    Append(&bytes, sizeof(bytes));
    Append(units, bytes + 2);
    return start;
}

void DumpFile::AppendMemory(std::uint64_t address, std::uint64_t bytes) {
    while (good_ && bytes != 0) {
        // The system copies, and reports what it could not read: nothing here can fault. Not by
        // write(), of which a sanitizer checks what it reads.
        const ssize_t written = syscall(SYS_write, file_, address, std::min(bytes, kMostAtOnce));
        std::uint64_t done = 0;
        if (written > 0) {
            done = static_cast<std::uint64_t>(written);
            position_ += done;
        } else if (written < 0 && errno == EFAULT) {
            done = std::min(bytes, kPage - address % kPage);
            Skip(done);
        } else if (written == 0 || errno != EINTR) {
            good_ = false;
        }
        address += done;
        bytes -= done;
    }
}

void DumpFile::Skip(std::uint64_t bytes) {
    if (good_) {
        good_ = lseek(file_, static_cast<off_t>(bytes), SEEK_CUR) >= 0;
        position_ += bytes;
    }
}

void DumpFile::Overwrite(std::uint64_t position, const void* data, std::size_t bytes) {
    if (good_) {
        good_ =
            pwrite(file_, data, bytes, static_cast<off_t>(position)) == static_cast<ssize_t>(bytes);
    }
}

void DumpFile::Finish() {
    if (good_) {
        good_ = ftruncate(file_, static_cast<off_t>(position_)) == 0;
    }
}

}  // namespace ZKL
