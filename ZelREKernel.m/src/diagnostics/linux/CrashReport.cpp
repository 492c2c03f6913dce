#include "diagnostics/linux/CrashReport.h"

#include <MekHost/process/MekAbendInfo.h>
#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "core/LastLines.h"

namespace ZKL {
namespace {

void Write(int file, std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = write(file, text.data(), text.size());
        if (written < 0 && errno != EINTR) {
            return;
        }
        text.remove_prefix(written > 0 ? static_cast<std::size_t>(written) : 0);
    }
}

void WriteHeading(int file, std::string_view heading, std::string_view subject = {}) {
    Write(file, "==== ");
    Write(file, heading);
    Write(file, subject);
    Write(file, " ====\n");
}

void WriteFault(int file, const siginfo_t& signal) {
    RawText<256> line;
    line += "SIG";
    // Of the C library, a table that needs no translation and no memory.
    const char* const name = sigabbrev_np(signal.si_signo);
    line += name != nullptr ? name : "?";
    line += ", signal ";
    line += static_cast<std::uint64_t>(signal.si_signo);
    if (signal.si_code > 0) {
        line += ", code ";
        line += static_cast<std::uint64_t>(signal.si_code);
        line += ", address 0x";
        line.AppendHexadecimal(reinterpret_cast<std::uintptr_t>(signal.si_addr), 12);
    }
    line += "\n";
    Write(file, line.View());
}

void WriteThreads(int file, const StoppedThreads& threads) {
    WriteHeading(file, "THREADS");
    for (const StoppedThread& thread : threads.Threads()) {
        RawText<64> line;
        line += static_cast<std::uint64_t>(thread.id);
        line += " ";
        line += thread.name.View();
        line += "\n";
        Write(file, line.View());
    }
}

}  // namespace

void WriteCrashReport(const DumpPath& dump, const Fault* fault, const CallStack& stack,
                      const StoppedThreads& threads) {
    DumpPath path;
    path += dump.View().substr(0, dump.View().size() - 4);
    path += ".txt";
    const int file = MakePrivateFile(path.CString(), O_WRONLY);
    if (file < 0) {
        return;
    }
    if (fault != nullptr) {
        WriteHeading(file, "FAULT");
        WriteFault(file, *fault->signal);
    }
    WriteThreads(file, threads);
    MekAbendInfo::WriteReportToDescriptor(file);
    for (std::size_t channel = 0; channel < kLogChannels; ++channel) {
        static LastLines::Copy s_copy;  // one report is made at a time, and the stack is small
        WriteHeading(file, "LAST LINES OF ", LastLinesOf(channel).Name());
        Write(file, LastLinesOf(channel).Read(s_copy));
    }
    if (fault != nullptr) {
        // Last: this is what may take its time or break.
        WriteHeading(file, "CALL STACK");
        stack.Write(file);
    }
    close(file);
}

}  // namespace ZKL
