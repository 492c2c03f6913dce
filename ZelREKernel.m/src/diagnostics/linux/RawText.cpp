#include "diagnostics/linux/RawText.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace ZKL {

RawLines::RawLines(const char* path) : file_(open(path, O_RDONLY | O_CLOEXEC)) {}

RawLines::~RawLines() {
    if (file_ >= 0) {
        close(file_);
    }
}

bool RawLines::Next(std::string_view& line) {
    for (std::size_t scanned = 0;;) {
        const std::string_view held(buffer_ + begin_, end_ - begin_);
        const std::size_t length = held.find('\n', scanned);
        if (length != std::string_view::npos || held.size() == sizeof(buffer_)) {
            const bool whole = length != std::string_view::npos;
            line = held.substr(0, length);
            begin_ += line.size() + (whole ? 1 : 0);
            const bool skipped = skip_;
            skip_ = !whole;
            if (skipped) {
                scanned = 0;
                continue;
            }
            return true;
        }
        scanned = held.size();
        std::memmove(buffer_, held.data(), held.size());
        begin_ = 0;
        end_ = held.size();
        ssize_t got = -1;
        do {
            got = file_ < 0 ? 0 : read(file_, buffer_ + end_, sizeof(buffer_) - end_);
        } while (got < 0 && errno == EINTR);
        if (got <= 0) {
            line = {buffer_, end_};
            const bool last = end_ != 0 && !skip_;
            end_ = 0;
            return last;
        }
        end_ += static_cast<std::size_t>(got);
    }
}

int MakePrivateFile(const char* path, int access) {
    unlink(path);
    return open(path, access | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
}

std::uint64_t TakeNumber(std::string_view& text, unsigned base) {
    std::uint64_t number = 0;
    for (; !text.empty(); text.remove_prefix(1)) {
        const char c = text.front();
        unsigned digit = 16;
        if (c >= '0' && c <= '9') {
            digit = static_cast<unsigned>(c - '0');
        } else if (c >= 'a' && c <= 'f') {
            digit = static_cast<unsigned>(c - 'a') + 10;
        }
        if (digit >= base) {
            break;
        }
        number = number * base + digit;
    }
    return number;
}

}  // namespace ZKL
