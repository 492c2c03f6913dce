#pragma once

// The environment of the process, as UTF-8. Calls are serialised against each other and against
// MekStartProcess, not against code that changes the environment behind their back.

#include <cstdint>
#include <string>

#include "MekHost/MekHostExport.h"

// Stores the value of the variable `name` in `*value`. Returns kMekOk (an empty value included),
// kMekNotFound (and `*value` is left alone) or kMekInvalidParameter (a null pointer, an empty
// name).
MEKHOST_EXPORT std::int32_t MekGetEnv(const char* name, std::string* value);

// Sets a variable from the text "NAME=VALUE"; "NAME=" sets it to the empty text on Linux and
// removes it on Windows, which knows no empty variables. The text is copied. Returns kMekOk,
// kMekInvalidParameter (null, no "=", an empty name) or kMekOutOfMemory.
MEKHOST_EXPORT std::int32_t MekPutEnv(const char* assignment);

// Removes a variable; removing one that is not there is no failure.
MEKHOST_EXPORT std::int32_t MekRemoveEnv(const char* name);
