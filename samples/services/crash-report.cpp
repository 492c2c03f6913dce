// Crash reports: what a fault leaves on standard error, and that it ends the process all the same.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <ZelREKernel/ZelREKernel.h>

namespace {

// The numbers are those of Windows on every system. eReactionCallStack adds where it happened,
// eReactionDump leaves the whole process in a file.
void ReportCrashes() {
    for (const unsigned int fault : {0xC0000005U, 0xC0000094U, 0x40000015U}) {
        ZKL::SetCustomExceptionFilter(fault, ZKL::eReactionPrint);
    }
}

}  // namespace

int main(int count, char** arguments) {
    if (count == 2 && std::strcmp(arguments[1], "crash") == 0) {
        ReportCrashes();
        std::abort();
    }
    vProcessLauncher launcher(arguments[0], true);
    launcher.PushArg("crash");
    int exitCode = 0;
    const vProcessLauncher::EError outcome = launcher.Launch(exitCode);
    std::printf("%s, and the program %s\n", ZKL::to_string(outcome).c_str(),
                exitCode == 0 ? "ended well" : "crashed");
    return 0;
}
