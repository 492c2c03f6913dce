#include "common/NativeEnvironment.h"

#include <windows.h>

#include <cstdlib>

#include "windows/WideText.h"

namespace mek {

bool GetVariable(const std::string& name, std::string* value) {
    const std::wstring wideName = ToWide(name);
    std::wstring found;
    for (DWORD needed = 1; needed > found.size();) {
        found.resize(needed);
        SetLastError(ERROR_SUCCESS);
        // The number of characters; with too little room, how much is needed with the end mark.
        needed = GetEnvironmentVariableW(wideName.c_str(), found.data(), needed);
        if (needed == 0 && GetLastError() == ERROR_ENVVAR_NOT_FOUND) {
            return false;
        }
        if (needed < found.size()) {
            found.resize(needed);
        }
    }
    *value = ToUtf8(found);
    return true;
}

// The C run-time keeps an environment of its own, which getenv() reads; it passes changes on to the
// system's.
bool SetVariable(const std::string& name, const std::string& value) {
    return _wputenv((ToWide(name) + L'=' + ToWide(value)).c_str()) == 0;
}

void RemoveVariable(const std::string& name) {
    _wputenv((ToWide(name) + L'=').c_str());
}

}  // namespace mek
