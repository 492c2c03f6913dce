// A process whose log channels are fresh.
//
//     core-child settings             its exit code is the default channel's level, plus 8 when the
//                                     pipelining channel is on
//     core-child exit <file>          logs lines through the flusher and ends without stopping it
//     core-child network <file>       logs to the viewer that writes <file> until it is heard, and
//                                     ends with the log open
//     core-child variables            sets a control variable when its static objects are
//     destroyed;
//                                     0 when that reached the variable
//     core-child debugged <out> <err> logs with a debugger attached, standard streams into files

#include <ZelREKernel/core/vControlVar.h>
#include <ZelREKernel/core/vLog.h>
#include <ZelREKernel/core/vLoggerLifeCycle.h>
#include <ZelREKernel/core/vLoggerManager.h>

#include <cstdlib>
#include <string_view>

#include "core/helper/CoreChild.h"
#include "support/TempDir.h"
#include "support/WaitUntil.h"

namespace {

unsigned int s_variable = 0;

// Made before anything else calls the register.
struct Setter {
    ~Setter() {
        if (isUsed) {
            ZKL::vControlVar::SetValue("variable", 5U);
            std::_Exit(s_variable == 5 ? 0 : 1);
        }
    }
    bool isUsed = false;
};
Setter s_setter;

int SetAtTheEnd() {
    s_setter.isUsed = true;
    ZKL::vControlVar::Register("variable", &s_variable, ZKL::vControlVar::eUnsignedInt, {});
    return 2;
}

ZKL::vLogger& Channel(ZKL::vLoggerManager::Type type) {
    return ZKL::vLoggerManager::GetInstance().GetLogger(type);
}

int TellSettings() {
    const bool pipelining = Channel(ZKL::vLoggerManager::ePipelining).IsEnabled();
    return Channel(ZKL::vLoggerManager::eDefault).GetLevel() + (pipelining ? 8 : 0);
}

int ExitUnderway(const char* file) {
    Channel(ZKL::vLoggerManager::eRufx).SetOutput(file);
    ZKL::vLoggerLifeCycle().Initialize();
    for (int i = 0; i < 1000; ++i) {
        ZKL::LogRufx(ZKL::vLogger::eInfo, "%d", i);
    }
    return 0;
}

int ExitWithViewer(const char* file) {
    Channel(ZKL::vLoggerManager::eRufx).SetOutput("network");
    const bool isHeard = test::WaitUntil([file] {
        ZKL::LogRufx(ZKL::vLogger::eInfo, "ping");
        return !test::ReadText(file).empty();
    });
    return isHeard ? 0 : 1;
}

}  // namespace

int main(int count, char** arguments) {
    const std::string_view order = count > 1 ? arguments[1] : "";
    if (order == "settings") {
        return TellSettings();
    }
    if (order == "exit" && count == 3) {
        return ExitUnderway(arguments[2]);
    }
    if (order == "variables") {
        return SetAtTheEnd();
    }
    if (order == "network" && count == 3) {
        return ExitWithViewer(arguments[2]);
    }
    if (order == "debugged" && count == 4) {
        return LogUnderDebugger(arguments[2], arguments[3]);
    }
    return 100;
}
