#pragma once

// --crash: this program starts itself once more, crashes that process in the middle of its frames
// with all reports on, and tells where they are. What a host does for its own crashes is in
// ReportCrashes.

#include <string>
#include <string_view>

namespace frame {

// A text of all kinds of crashes, for messages.
extern const char* const kCrashKinds;
bool IsCrashKind(std::string_view kind);

// From now on a crash of this process says so on standard error, with the stack, and leaves a dump.
void ReportCrashes();

// Does not return. `kind` is one.
[[noreturn]] void Crash(std::string_view kind);

// Starts this program again with the same arguments, to crash in the way `kind`, and waits. Where
// the system lets a program choose, the dump goes to the folder `out`. Returns the exit code: 0
// when it left a dump and a report, 1 with a line on standard error when it did not.
int RunCrash(const std::string& kind, const std::string& out, int argc, const char* const* argv);

}  // namespace frame
