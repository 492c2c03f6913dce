#include <sys/syscall.h>
#include <unistd.h>

#include "diagnostics/CrashFilter.h"
#include "diagnostics/linux/CallStack.h"
#include "diagnostics/linux/CrashReport.h"
#include "diagnostics/linux/DumpPath.h"
#include "diagnostics/linux/Fault.h"
#include "diagnostics/linux/HelperProcess.h"
#include "diagnostics/linux/MinidumpWriter.h"
#include "diagnostics/linux/StoppedThreads.h"

namespace ZKL {
namespace {

struct DumpTask {
    DumpPath path;
    const Fault* fault;
    CallStack stack;
    // Not for the helper to find out: an orphan has another parent.
    pid_t process;
    pid_t asking;
};

// The threads run on before the text is written: naming the stack may need a lock of one of them.
int WriteDumpAndReport(void* argument) {
    const auto& task = *static_cast<const DumpTask*>(argument);
    StoppedThreads threads(task.process, task.asking, task.fault ? task.fault->context : nullptr);
    WriteMinidump(task.path.CString(), task.fault, threads);
    threads.Release();
    WriteCrashReport(task.path, task.fault, task.stack, threads);
    return 0;
}

}  // namespace

void WriteCrashDump(const Fault* fault) {
    if (fault == nullptr) {
        RememberLocalTime();
    }
    DumpTask task = {MakeDumpPath(), fault, {}, getpid(), static_cast<pid_t>(syscall(SYS_gettid))};
    if (fault != nullptr) {
        task.stack.Collect(*fault);
    }
    RunInHelper(&WriteDumpAndReport, &task, -1);
}

}  // namespace ZKL
