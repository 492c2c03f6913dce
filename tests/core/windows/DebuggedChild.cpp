#include <ZelREKernel/core/vLoggerOutput.h>
#include <fcntl.h>
#include <io.h>
#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>

#include "core/helper/CoreChild.h"

namespace {

bool Redirect(int descriptor, const char* file) {
    const int opened =
        _open(file, _O_CREAT | _O_WRONLY | _O_APPEND | _O_BINARY, _S_IREAD | _S_IWRITE);
    return opened >= 0 && _dup2(opened, descriptor) == 0 && _close(opened) == 0;
}

}  // namespace

// Its starter is the debugger.
int LogUnderDebugger(const char* outFile, const char* errFile) {
    if (!Redirect(1, outFile) || !Redirect(2, errFile)) {
        return 1;
    }
    std::printf("buffered ");  // flushed by the output, although its own text goes elsewhere
    ZKL::vLoggerOutput* const output = ZKL::vLoggerOutput::Create("stdout");
    output->Write("to the debugger\n");
    output->Write(std::string(5000, 'x').c_str());
    output->Release();
    std::_Exit(0);
}
