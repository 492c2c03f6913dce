#include "TraceText.h"

#include <ZelREKernel/profiling/vZeloProfilerUtil.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string_view>

namespace trace {
namespace {

bool LooksPlain(std::string_view text) {
    const std::size_t first = text.find_first_not_of(" \t\r\n");
    return first != std::string_view::npos && (text[first] == '{' || text[first] == '[');
}

}  // namespace

bool ReadFile(const std::string& path, std::string& bytes, std::string& error) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"),
                                                               std::fclose);
    if (file == nullptr) {
        error = "cannot open " + path + ": " + std::strerror(errno);
        return false;
    }
    constexpr std::size_t kBlock = std::size_t{1} << 20;
    std::size_t length = 0;
    std::size_t read = kBlock;
    while (read == kBlock) {
        bytes.resize(length + kBlock);
        read = std::fread(bytes.data() + length, 1, kBlock, file.get());
        length += read;
    }
    bytes.resize(length);
    if (std::ferror(file.get()) != 0) {
        error = "cannot read " + path + ": " + std::strerror(errno);
        return false;
    }
    return true;
}

TextKind Unscramble(std::string& bytes) {
    if (LooksPlain(bytes)) {
        return TextKind::Plain;
    }
    ZKL::vZeloProfilerUtil::Encrypt(bytes.data(), bytes.size());
    if (LooksPlain(bytes)) {
        return TextKind::Scrambled;
    }
    // Twice is not at all.
    ZKL::vZeloProfilerUtil::Encrypt(bytes.data(), bytes.size());
    return TextKind::Neither;
}

}  // namespace trace
