#pragma once

// Starts host-child, see helper/HostChild.cpp.

#include <MekHost/process/MekStartProcess.h>

#include <string>
#include <vector>

namespace test {

// What MekStartProcess gave.
struct Started {
    std::int32_t status;
    int result = -1;
    int error = -1;
};

inline const char* const kHostChild = ZEL_TEST_BIN_DIR "/host-child";

inline Started Start(const std::string& path, const std::vector<std::string>& orders, bool wait) {
    std::vector<const char*> arguments{path.c_str()};
    for (const std::string& order : orders) {
        arguments.push_back(order.c_str());
    }
    arguments.push_back(nullptr);
    Started started{};
    started.status =
        MekStartProcess(path.c_str(), arguments.data(), wait, started.result, started.error);
    return started;
}

}  // namespace test
