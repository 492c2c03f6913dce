#pragma once

// What happens when the process crashes, and how a debugger gets at it.
//
// A fatal fault has a number: on Windows the exception code; on Linux the code that Windows has for
// the same fault, so that one set-up serves both: SIGSEGV 0xC0000005, SIGBUS 0xC0000006, SIGFPE
// 0xC0000094 (integer) or 0xC000008E (floating point), SIGILL 0xC000001D, SIGTRAP 0x80000003,
// SIGABRT 0x40000015, which abort() has on Windows, too. Reactions to a fault report it; none stops
// it: the handlers that were there before run afterwards, and the process dies as it would have.
//
// All functions may be called from any thread.

#include <cstdint>
#include <string>
#include <vector>

#include "ZelREKernel/ZelREKernelExport.h"

namespace ZKL {

// What to do about a fault; the numbers add up, the order is fixed.
enum EExceptionReaction : std::uint32_t {
    // "************ Exception catched! Code: %x\n" on standard error.
    eReactionPrint = 1,
    // The call stack on standard error, with function, file and line where symbols exist.
    eReactionCallStack = 2,
    // AttachDebugger().
    eReactionAttach = 4,
    // A crash dump, as CreateMiniDump() writes it, with the fault in it.
    eReactionDump = 8
};

// From now on `reactions`, a sum of EExceptionReaction, are the answer to the fault `code`; what
// was set for it before is replaced, and a fault without an entry is none of ours. The first call
// installs the handler for the process, and a later attempt of other code to replace it does
// nothing on Windows. Every thread that the library starts has a stack for the handler of its own;
// threads of the host have one while they hold a MekSignalStack, and the thread of the first call
// gets one.
//
// A crash is reported once, whatever the earlier handlers do about it; one of those that returns
// and has mended nothing gets the fault again, without a report. One report or dump is made at a
// time. Where the process dies for certain nobody else's begins any more; while earlier handlers
// run, which may take the crash for theirs, jump away or never end, others wait for 5 s at most.
// They may call CreateMiniDump() themselves.
ZELREKERNEL_EXPORT void SetCustomExceptionFilter(unsigned int code, unsigned int reactions);

// Writes a dump of the whole process, without a fault, and beside it a text with the crash report,
// the last lines of every log channel, the threads and their names. The file is
// "MiniDump-%d-%m%Y_%Hh%M.dmp" by local time (strftime), in the root of drive E: on Windows, in the
// directory that the environment variable "ZelCrashDumpDirectory" names or else the working
// directory on Linux; the text has ".txt" in place of ".dmp". Where one of the two cannot be made
// there is the other alone, or nothing. All other threads stand still meanwhile. Waits for the end
// of another thread's dump or crash report, and of the handlers that this is passed on to for 5 s
// at most.
ZELREKERNEL_EXPORT void CreateMiniDump();

// Starts a debugger on this process and waits until it is attached. Windows: the just-in-time
// debugger of the system. Linux: the command in the environment variable "ZelDebuggerCommand", with
// the process id in place of "%d", else gdb in a terminal window. Does nothing when a debugger is
// attached already. Returns at once when none can be started and when what was started fails; 60 s
// after it ended well without a debugger, as it may have left the start to another process.
ZELREKERNEL_EXPORT void AttachDebugger();

// Lets the user choose one of `names` in a dialog titled "Select Your debugger", and waits. Returns
// the index of the choice, or 0xFFFFFFFF when nothing was chosen or nobody can be asked. Linux: a
// list dialog on a display, else a numbered question on the terminal.
ZELREKERNEL_EXPORT unsigned int DebuggerUI(const std::vector<std::wstring>& names);

// Lets the user choose from the debuggers known here and attaches or loads the one chosen. Call it
// before the first graphics device is made: a graphics debugger cannot watch an older one.
ZELREKERNEL_EXPORT void AttachAllDebuggers();

}  // namespace ZKL
