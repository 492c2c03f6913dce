#include "WholeFile.h"

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <system_error>

namespace frame {
namespace {

constexpr std::uintmax_t kLargestFile = std::uintmax_t{512} << 20;

}  // namespace

std::string ReadWholeFile(const std::string& path) {
    std::error_code code;
    const auto status = std::filesystem::status(path, code);
    if (!std::filesystem::exists(status)) {
        throw std::runtime_error("no such file");
    }
    if (!std::filesystem::is_regular_file(status)) {
        throw std::runtime_error("not a regular file");
    }
    const std::uintmax_t size = std::filesystem::file_size(path, code);
    if (code || size > kLargestFile) {
        throw std::runtime_error(code ? code.message() : "larger than 512 MiB");
    }
    std::string text(static_cast<std::size_t>(size), '\0');
    std::ifstream file(path, std::ios::binary);
    if (!file.read(text.data(), static_cast<std::streamsize>(size))) {
        throw std::runtime_error("cannot be read");
    }
    return text;
}

}  // namespace frame
