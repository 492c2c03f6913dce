#pragma once

// An external program and its arguments, ready to be started. How it is started, what it inherits
// and what the two numbers mean is told at MekStartProcess.
//
// One object is used by one thread at a time; any threads may launch it beside each other while
// nobody adds arguments.
//
// Without memory what makes or copies a launcher throws std::bad_alloc; a launch throws nothing.

#include <cstdint>
#include <string>
#include <vector>

#include "ZelREKernel/ZelREKernelExport.h"

class ZELREKERNEL_EXPORT vProcessLauncher {
public:
    // How a launch ended. Success stands for every error number without a name here as well.
    enum EError : std::uint32_t {
        eArgumentListIsTooBig = 0,
        eWrongMode = 1,
        eEXENotFound = 2,
        eNotExecutable = 3,
        eNotEnoughMemory = 4,
        eSuccess = 5
    };

    // `path`, which is copied, becomes the first argument. With `wait`, a launch returns when the
    // program has ended. A null path goes to the assertion sink and cannot be launched
    // (eWrongMode).
    vProcessLauncher(const char* path, bool wait);
    vProcessLauncher(const vProcessLauncher&);
    vProcessLauncher(vProcessLauncher&&) noexcept;
    ~vProcessLauncher();
    vProcessLauncher& operator=(const vProcessLauncher&);
    vProcessLauncher& operator=(vProcessLauncher&&) noexcept;

    // Adds a copy of an argument, which reaches the program as it is, blanks and quotes included. A
    // null pointer goes to the assertion sink. Throws std::bad_alloc without memory, with nothing
    // added.
    void PushArg(const char* argument);
    void PushArg(char* argument);
    void PushArg(const std::string& argument);

    // Starts the program, as often as it is called. `result` receives the exit code when waiting,
    // else 0. Without memory: eNotEnoughMemory, error number 12.
    EError Launch(int& result) const;
    // The same; `error` receives the error number, 0 when the program was started.
    void Launch(int& result, int& error) const;

    // What an error number of the host means.
    static EError ConvertError(int number);

private:
    std::vector<std::string> arguments_;  // the path first; empty without a path
    bool wait_;
};

namespace ZKL {

// The name of an outcome, "ERROR" for a number that is none.
ZELREKERNEL_EXPORT std::string to_string(vProcessLauncher::EError error);

}  // namespace ZKL
