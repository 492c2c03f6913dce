#include "diagnostics/linux/StoppedThreads.h"

#include <dirent.h>
#include <elf.h>
#include <fcntl.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <ctime>

namespace ZKL {
namespace {

constexpr std::size_t kMaximumThreads = 32768;
// A thread inside the system that cannot be interrupted is not waited for longer.
constexpr int kStopPatienceMs = 500;

// As getdents64(2) lays it out.
struct DirectoryRecord {
    std::uint64_t inode;
    std::int64_t next;
    unsigned short size;
    unsigned char type;
    // The name follows, with its terminator.
};
constexpr std::size_t kNameInRecord = offsetof(DirectoryRecord, type) + 1;

void SetRegisters(Minidump::Context& to, const user_regs_struct& from) {
    to.flags = Minidump::kContextFull;
    to.cs = static_cast<std::uint16_t>(from.cs);
    to.ds = static_cast<std::uint16_t>(from.ds);
    to.es = static_cast<std::uint16_t>(from.es);
    to.fs = static_cast<std::uint16_t>(from.fs);
    to.gs = static_cast<std::uint16_t>(from.gs);
    to.ss = static_cast<std::uint16_t>(from.ss);
    to.eflags = static_cast<std::uint32_t>(from.eflags);
    to.rax = from.rax;
    to.rcx = from.rcx;
    to.rdx = from.rdx;
    to.rbx = from.rbx;
    to.rsp = from.rsp;
    to.rbp = from.rbp;
    to.rsi = from.rsi;
    to.rdi = from.rdi;
    to.r8 = from.r8;
    to.r9 = from.r9;
    to.r10 = from.r10;
    to.r11 = from.r11;
    to.r12 = from.r12;
    to.r13 = from.r13;
    to.r14 = from.r14;
    to.r15 = from.r15;
    to.rip = from.rip;
}

void SetFloats(Minidump::Context& to, const void* fxsave) {
    std::memcpy(to.floatSave, fxsave, sizeof(to.floatSave));
    std::memcpy(&to.mxcsr, to.floatSave + 24, sizeof(to.mxcsr));
}

void SetFromSignal(Minidump::Context& to, const ucontext_t& context) {
    const greg_t* const g = context.uc_mcontext.gregs;
    const auto value = [g](int index) { return static_cast<unsigned long long>(g[index]); };
    user_regs_struct r = {};
    r.rax = value(REG_RAX);
    r.rcx = value(REG_RCX);
    r.rdx = value(REG_RDX);
    r.rbx = value(REG_RBX);
    r.rsp = value(REG_RSP);
    r.rbp = value(REG_RBP);
    r.rsi = value(REG_RSI);
    r.rdi = value(REG_RDI);
    r.r8 = value(REG_R8);
    r.r9 = value(REG_R9);
    r.r10 = value(REG_R10);
    r.r11 = value(REG_R11);
    r.r12 = value(REG_R12);
    r.r13 = value(REG_R13);
    r.r14 = value(REG_R14);
    r.r15 = value(REG_R15);
    r.rip = value(REG_RIP);
    r.eflags = value(REG_EFL);
    // Four 16-bit selectors in one word: cs, gs, fs, ss.
    r.cs = value(REG_CSGSFS) & 0xffff;
    r.gs = value(REG_CSGSFS) >> 16 & 0xffff;
    r.fs = value(REG_CSGSFS) >> 32 & 0xffff;
    r.ss = value(REG_CSGSFS) >> 48;
    SetRegisters(to, r);
    if (context.uc_mcontext.fpregs != nullptr) {
        SetFloats(to, context.uc_mcontext.fpregs);
    }
}

bool ReadRegisters(pid_t thread, Minidump::Context& to) {
    user_regs_struct registers = {};
    iovec part = {&registers, sizeof(registers)};
    if (ptrace(PTRACE_GETREGSET, thread, NT_PRSTATUS, &part) != 0) {
        return false;
    }
    SetRegisters(to, registers);
    user_fpregs_struct floats = {};
    part = {&floats, sizeof(floats)};
    if (ptrace(PTRACE_GETREGSET, thread, NT_PRFPREG, &part) == 0) {
        SetFloats(to, &floats);
    }
    return true;
}

bool Stop(StoppedThread& thread) {
    if (ptrace(PTRACE_SEIZE, thread.id, nullptr, nullptr) != 0 ||
        ptrace(PTRACE_INTERRUPT, thread.id, nullptr, nullptr) != 0) {
        return false;
    }
    for (int waited = 0; waited < kStopPatienceMs; ++waited) {
        int status = 0;
        const pid_t got = waitpid(thread.id, &status, __WALL | WNOHANG);
        if (got == thread.id) {
            const bool asWeAsked = status >> 16 == PTRACE_EVENT_STOP;
            thread.signal = WIFSTOPPED(status) && !asWeAsked ? WSTOPSIG(status) : 0;
            return WIFSTOPPED(status);
        }
        if (got < 0 && errno != EINTR) {
            return false;
        }
        const timespec pause = {0, 1000000};
        nanosleep(&pause, nullptr);
    }
    return false;
}

void ReadName(pid_t process, StoppedThread& thread) {
    RawText<64> path;
    path += "/proc/";
    path += static_cast<std::uint64_t>(process);
    path += "/task/";
    path += static_cast<std::uint64_t>(thread.id);
    path += "/comm";
    RawLines lines(path.CString());
    std::string_view line;
    if (lines.Next(line)) {
        thread.name += line;
    }
}

}  // namespace

StoppedThreads::StoppedThreads(pid_t process, pid_t asking, const ucontext_t* context)
    : process_(process), threads_(kMaximumThreads) {
    StoppedThread thread = {};
    thread.id = asking;
    if (context != nullptr) {
        SetFromSignal(thread.registers, *context);
        thread.known = true;
    }
    ReadName(process, thread);
    threads_.Push(thread);
    // A thread that was not stopped yet may have started another: look until none is new.
    for (std::size_t before = 0; before != threads_.Size();) {
        before = threads_.Size();
        StopAll();
    }
}

StoppedThreads::~StoppedThreads() {
    Release();
}

void StoppedThreads::Release() {
    for (const StoppedThread& thread : threads_) {
        ptrace(PTRACE_DETACH, thread.id, nullptr, static_cast<long>(thread.signal));
    }
}

bool StoppedThreads::Holds(pid_t id) const {
    for (const StoppedThread& thread : threads_) {
        if (thread.id == id) {
            return true;
        }
    }
    return false;
}

void StoppedThreads::StopAll() {
    RawText<64> path;
    path += "/proc/";
    path += static_cast<std::uint64_t>(process_);
    path += "/task";
    const int folder = open(path.CString(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder < 0) {
        return;
    }
    char buffer[4096];
    long got = 0;
    while ((got = syscall(SYS_getdents64, folder, buffer, sizeof(buffer))) > 0) {
        for (long at = 0; at < got;) {
            DirectoryRecord record;
            std::memcpy(&record, buffer + at, kNameInRecord);
            std::string_view digits(buffer + at + kNameInRecord);
            at += record.size;
            StoppedThread thread = {};
            thread.id = static_cast<pid_t>(TakeNumber(digits, 10));
            if (thread.id == 0 || Holds(thread.id)) {
                continue;
            }
            thread.known = Stop(thread) && ReadRegisters(thread.id, thread.registers);
            ReadName(process_, thread);
            threads_.Push(thread);
        }
    }
    close(folder);
}

}  // namespace ZKL
