#pragma once

// The variables of the process as they stand at one moment, for a program that is started: other
// threads may change them meanwhile.

#include <string>
#include <string_view>
#include <vector>

namespace mek {

class EnvironmentCopy {
public:
    EnvironmentCopy();
    EnvironmentCopy(const EnvironmentCopy&) = delete;
    EnvironmentCopy& operator=(const EnvironmentCopy&) = delete;

    // "NAME=VALUE" each, and a null pointer at the end.
    char* const* Variables() const { return variables_.data(); }
    // Null when there is no such variable.
    const char* Find(std::string_view name) const;

private:
    std::vector<std::string> texts_;
    std::vector<char*> variables_;
};

}  // namespace mek
