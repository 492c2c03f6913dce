#pragma once

// A fresh, empty directory that goes away with the object, contents and all.

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <system_error>

namespace test {

class TempDir {
public:
    TempDir() {
        // Test programs run side by side, so a name is tried until it was not there before.
        static std::atomic<unsigned> s_next{0};
        const auto now = std::chrono::steady_clock::now().time_since_epoch().count();
        for (int attempt = 0; attempt < 100; ++attempt) {
            path_ = std::filesystem::temp_directory_path() /
                    ("zel-test-" + std::to_string(now) + "-" + std::to_string(s_next++));
            if (std::filesystem::create_directory(path_)) {
                return;
            }
        }
        throw std::runtime_error("no temporary directory to be had");
    }
    ~TempDir() { RemoveAll(path_); }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::filesystem::path& Path() const { return path_; }
    // The full name of the file `name` inside, whether it exists or not.
    std::string File(const std::string& name) const { return (path_ / name).string(); }

private:
    // std::filesystem::remove_all() never ends on Windows while a file inside is open.
    static void RemoveAll(const std::filesystem::path& directory) {
        std::error_code ignored;
        for (const auto& entry : std::filesystem::directory_iterator(directory, ignored)) {
            if (entry.is_directory(ignored) && !entry.is_symlink(ignored)) {
                RemoveAll(entry.path());
            } else {
                std::filesystem::remove(entry.path(), ignored);
            }
        }
        std::filesystem::remove(directory, ignored);
    }

    std::filesystem::path path_;
};

// The whole of a file, byte for byte; empty when it cannot be read.
inline std::string ReadFile(const std::string& name) {
    std::ifstream file(name, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

// The whole of a text file, whose lines end as the system ends them.
inline std::string ReadText(const std::string& name) {
    std::ifstream file(name);
    return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

}  // namespace test
