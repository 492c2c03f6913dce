#pragma once

// The assertion sink. A library that finds itself misused reports the failed expression here and
// goes on with its fallback; the sink decides who hears of it.
//
// All functions may be called from any thread. A handler runs on the thread that misused the
// interface, may be called from several threads at once, and must not throw.

#include "MekHost/MekHostExport.h"

// Receives a failed check: the text of the expression (never null), the path of the source file
// (never null) and the line in it.
using MekCheckHandler = void (*)(const char* expression, const char* path, int line);

// Installs `handler` for the whole process and returns the previous one. Null restores the default,
// which prints "<path>:<line>: check failed: <expression>" on standard error and goes on.
MEKHOST_EXPORT MekCheckHandler MekSetCheckHandler(MekCheckHandler handler) noexcept;

// Reports that `expression` was false. A null text is reported as "(null)".
MEKHOST_EXPORT void Check_TRUE_Failed__(const char* expression, const char* path,
                                        int line) noexcept;

// Reports that the pointer named by `expression` was null.
MEKHOST_EXPORT void Check_Pointer_Failed__(const char* expression, const char* path,
                                           int line) noexcept;

// Reports a failure that no expression describes.
MEKHOST_EXPORT void CheckFailure__(const char* message, const char* path, int line) noexcept;
