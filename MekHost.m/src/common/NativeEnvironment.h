#pragma once

// The operating system's environment variables. Names are neither empty nor do they hold a "=". The
// caller serialises the calls.

#include <string>

namespace mek {

// False when there is no such variable; `*value` is left alone then.
bool GetVariable(const std::string& name, std::string* value);
// False when there is no memory for it.
bool SetVariable(const std::string& name, const std::string& value);
void RemoveVariable(const std::string& name);

}  // namespace mek
