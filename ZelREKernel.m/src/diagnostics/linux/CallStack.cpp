#include "diagnostics/linux/CallStack.h"

#include <backtrace.h>
#include <cxxabi.h>
#include <dlfcn.h>
#include <setjmp.h>
#include <unistd.h>
#include <unwind.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <iterator>
#include <string_view>

#include "diagnostics/CrashFilter.h"
#include "diagnostics/ReportTurn.h"
#include "diagnostics/linux/HelperProcess.h"
#include "diagnostics/linux/ProcessMaps.h"
#include "diagnostics/linux/RawText.h"

namespace ZKL {
namespace {

// Reading the debug information of a large program takes its time; a lock that the crashed thread
// holds would take for ever.
constexpr int kPatienceMs = 30000;
// A broken stack may lead in a circle.
constexpr std::size_t kMostTimes = std::size_t{1} << 20;

// ---- walking

// A fault while the stack is walked ends the walk. The handler is that of all threads; one that
// faults meanwhile waits for the end of the walk, and its fault comes again to the handler that was
// there before.
class FaultGuard {
public:
    // Runs `walk`, or the part of it before a fault.
    template <typename Walk>
    static void Run(Walk walk) {
        sigjmp_buf jump;
        struct sigaction ours = {};
        ours.sa_handler = [](int) {
            if (s_walker.load() == ThreadNumber()) {
                siglongjmp(*s_jump, 1);
            }
            while (s_walker.load() != 0) {
                PauseShortly();
            }
        };
        ours.sa_flags = SA_ONSTACK | SA_NODEFER;
        s_jump = &jump;
        s_walker.store(ThreadNumber());
        struct sigaction before[2] = {};
        sigaction(SIGSEGV, &ours, &before[0]);
        sigaction(SIGBUS, &ours, &before[1]);
        if (sigsetjmp(jump, 1) == 0) {
            walk();
        }
        sigaction(SIGSEGV, &before[0], nullptr);
        sigaction(SIGBUS, &before[1], nullptr);
        s_walker.store(0);
    }

private:
    // One report is made at a time.
    static sigjmp_buf* s_jump;
    static std::atomic<std::uint32_t> s_walker;  // the thread; 0 for none
};
sigjmp_buf* FaultGuard::s_jump = nullptr;
std::atomic<std::uint32_t> FaultGuard::s_walker{0};

_Unwind_Reason_Code AddFrame(_Unwind_Context* context, void* argument) {
    auto& stack = *static_cast<CallStack*>(argument);
    int beforeInstruction = 0;
    const std::uintptr_t address = _Unwind_GetIPInfo(context, &beforeInstruction);
    // A caller's frame tells the instruction after the call; the line is that of the call.
    const std::uintptr_t at = address - (beforeInstruction ? 0 : 1);
    if (stack.count != 0 && stack.frames[stack.count - 1].address == at) {
        return ++stack.frames[stack.count - 1].times < kMostTimes ? _URC_NO_REASON
                                                                  : _URC_END_OF_STACK;
    }
    if (address == 0 || stack.count == CallStack::kMostFrames) {
        return _URC_END_OF_STACK;
    }
    stack.frames[stack.count++] = {at, 1};
    return _URC_NO_REASON;
}

// ---- naming

struct Naming {
    const CallStack* stack;
    int file;
    std::size_t next = 0;  // the frame that is being named
    bool demangle = true;  // needs the heap, which may be what is broken
};

class Line {
public:
    // The next frame of `naming`.
    explicit Line(const Naming& naming) : naming_(naming) {
        const std::size_t number = naming.next;
        text_ += number < 10 ? "# " : "#";
        text_ += number;
        text_ += "  0x";
        text_.AppendHexadecimal(Frame().address, 12);
        text_ += "  ";
    }
    void AddFunction(const char* function) {
        int status = -1;
        char* const plain =
            naming_.demangle ? abi::__cxa_demangle(function, nullptr, nullptr, &status) : nullptr;
        text_ += status == 0 ? plain : function;
        std::free(plain);
    }
    void Add(const char* text) { text_ += text; }
    void Add(const char* text, std::uint64_t number) {
        text_ += text;
        text_ += number;
    }
    void Write() {
        if (Frame().times > 1) {
            Add(" (", Frame().times);
            Add(" times)");
        }
        text_ += "\n";
        // A closed standard error is nothing that a crash report could tell anybody.
        static_cast<void>(::write(naming_.file, text_.CString(), text_.View().size()) + 1);
    }

private:
    const CallStack::Frame& Frame() const { return naming_.stack->frames[naming_.next]; }

    const Naming& naming_;
    RawText<4096> text_;
};

// Functions compiled into their callers come first, each with a line of its own.
int WriteNamed(void* argument, std::uintptr_t, const char* file, int line, const char* function) {
    const auto& naming = *static_cast<const Naming*>(argument);
    if (function == nullptr || file == nullptr) {
        return 1;  // no debug information
    }
    Line text(naming);
    text.AddFunction(function);
    text.Add(" (");
    text.Add(file);
    text.Add(":", static_cast<std::uint64_t>(line));
    text.Add(")");
    text.Write();
    return 0;
}

void IgnoreError(void*, const char*, int) {}

bool FindModule(std::uintptr_t address, Dl_info& info) {
    // The address of code is a number here.
    return dladdr(reinterpret_cast<void*>(address), &info) !=
           0;  // NOLINT(performance-no-int-to-ptr)
}

// "function+offset in module+offset", as much of it as is known.
void WriteWithoutDebugInformation(const Naming& naming, std::uintptr_t address) {
    const auto offset = [address](const void* start) {
        return address - reinterpret_cast<std::uintptr_t>(start);
    };
    Line text(naming);
    Dl_info info = {};
    if (!FindModule(address, info)) {
        text.Add("?");
    } else {
        if (info.dli_sname != nullptr) {
            text.AddFunction(info.dli_sname);
            text.Add("+", offset(info.dli_saddr));
            text.Add(" in ");
        }
        text.Add(info.dli_fname);
        text.Add("+", offset(info.dli_fbase));
    }
    text.Write();
}

int NameFrames(void* argument) {
    auto& naming = *static_cast<Naming*>(argument);
    backtrace_state* const state = backtrace_create_state(nullptr, 1, &IgnoreError, nullptr);
    for (; naming.next < naming.stack->count; ++naming.next) {
        const std::uintptr_t address = naming.stack->frames[naming.next].address;
        if (state == nullptr ||
            backtrace_pcinfo(state, address, &WriteNamed, &IgnoreError, &naming) != 0) {
            WriteWithoutDebugInformation(naming, address);
        }
    }
    return 0;
}

}  // namespace

void CallStack::Collect(const Fault& fault) {
    greg_t* const registers = fault.context->uc_mcontext.gregs;
    greg_t& instruction = registers[REG_RIP];
    greg_t& top = registers[REG_RSP];
    const greg_t hit = instruction;
    greg_t caller = 0;
    const auto isCode = [](greg_t address) {
        Dl_info info = {};
        return FindModule(static_cast<std::uintptr_t>(address), info);
    };
    // After a call of what is no code, the caller is where a return would lead.
    const bool returns =
        !isCode(hit) && ReadMemory(static_cast<std::uint64_t>(top), &caller, 8) && isCode(caller);
    if (returns) {
        instruction = caller;
        top += 8;
    }
    count = 0;
    FaultGuard::Run([this] { _Unwind_Backtrace(&AddFrame, this); });
    // The frames of the handler come first, and are not what anybody looks for.
    const auto isFirst = [&](const Frame& frame) {
        return frame.address == static_cast<std::uintptr_t>(instruction);
    };
    const Frame* const end = frames + count;
    const Frame* const first = std::find_if(static_cast<const Frame*>(frames), end, isFirst);
    if (returns) {
        instruction = hit;
        top -= 8;
    }
    Frame* to = frames;
    if (returns || first == end) {
        *to++ = {static_cast<std::uintptr_t>(hit), 1};
    }
    // At least one frame of the handler makes room for the one above.
    count = static_cast<std::size_t>(std::copy(first, end, to) - frames);
}

void CallStack::Write(int file) const {
    Naming naming{this, file};
    if (!RunInHelper(&NameFrames, &naming, kPatienceMs)) {
        // Once more without the heap, from the frame at which it ended.
        naming.demangle = false;
        RunInHelper(&NameFrames, &naming, kPatienceMs);
    }
}

void LogCallStack(const Fault& fault) {
    CallStack stack;
    stack.Collect(fault);
    stack.Write(STDERR_FILENO);
}

}  // namespace ZKL
