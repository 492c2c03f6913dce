#include "common/NativeEnvironment.h"

#include <cstdlib>

namespace mek {

bool GetVariable(const std::string& name, std::string* value) {
    const char* const found = std::getenv(name.c_str());
    if (found) {
        *value = found;
    }
    return found != nullptr;
}

bool SetVariable(const std::string& name, const std::string& value) {
    return setenv(name.c_str(), value.c_str(), 1) == 0;
}

void RemoveVariable(const std::string& name) {
    unsetenv(name.c_str());
}

}  // namespace mek
