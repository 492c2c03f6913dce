// Stands in for the system's just-in-time debugger: vsjitdebugger.exe -p PID leaves the work to a
// second process of its own and ends; that one attaches to the process, lets it run until it has
// been seen, and lets go. Keeps its command line and what the process had said so far, the file
// that ZEL_SAID names, in the file that ZEL_ASKED names. Fails without attaching when ZEL_ASKED is
// not set.

#include <windows.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

int main(int argc, char** argv) {
    const char* const asked = std::getenv("ZEL_ASKED");
    if (argc < 3 || asked == nullptr) {
        return 1;
    }
    if (argc == 3) {
        STARTUPINFOA startup = {};
        startup.cb = sizeof(startup);
        PROCESS_INFORMATION other = {};
        std::string command = std::string(GetCommandLineA()) + " now";
        return CreateProcessA(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                              &startup, &other)
                   ? 0
                   : 1;
    }
    Sleep(500);  // the first one has ended
    std::ofstream(asked, std::ios::binary)
        << argv[1] << ' ' << argv[2] << '\n'
        << std::ifstream(std::getenv("ZEL_SAID"), std::ios::binary).rdbuf();
    const auto id = static_cast<DWORD>(std::atoi(argv[2]));
    if (!DebugActiveProcess(id)) {
        return 1;
    }
    // The process polls every 100 ms.
    const ULONGLONG end = GetTickCount64() + 2000;
    DEBUG_EVENT event = {};
    while (GetTickCount64() < end) {
        if (WaitForDebugEvent(&event, 100)) {
            ContinueDebugEvent(event.dwProcessId, event.dwThreadId, DBG_CONTINUE);
        }
    }
    DebugSetProcessKillOnExit(FALSE);
    return DebugActiveProcessStop(id) ? 0 : 1;
}
