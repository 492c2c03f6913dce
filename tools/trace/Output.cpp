#include "Output.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace trace {

bool WriteOutput(const std::string& path, std::string_view bytes, std::string& error) {
    std::FILE* const file = path.empty() ? stdout : std::fopen(path.c_str(), "wb");
    bool written = file != nullptr &&
                   std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size() &&
                   std::fflush(file) == 0;
    if (!written) {
        const std::string name = path.empty() ? "standard output" : path;
        error = "cannot write " + name + ": " + std::strerror(errno);
    }
    if (file != nullptr && file != stdout && std::fclose(file) != 0 && written) {
        error = "cannot write " + path + ": " + std::strerror(errno);
        written = false;
    }
    return written;
}

}  // namespace trace
