// Other programs and libraries: starting one and waiting for it, and doing without one.
#include <cstdio>
#include <cstring>

#include <ZelREKernel/ZelREKernel.h>

int main(int count, char** arguments) {
    if (count == 3 && std::strcmp(arguments[1], "child") == 0) {
        std::printf("child: %s\n", arguments[2]);
        return 7;
    }
    vProcessLauncher launcher(arguments[0], true);
    launcher.PushArg("child");
    launcher.PushArg("an argument with blanks and \"quotes\"");
    int exitCode = -1;
    const vProcessLauncher::EError outcome = launcher.Launch(exitCode);
    std::printf("%s, exit code %d\n", ZKL::to_string(outcome).c_str(), exitCode);

    vProcessLauncher missing("/no/such/program", true);
    std::puts(ZKL::to_string(missing.Launch(exitCode)).c_str());

    const ZKL::vDynamicLoader plugin("no-such-plugin", false);  // the log need not hear of it
    std::puts(plugin.IsLoaded() ? "with the plug-in" : "without the plug-in");
    return 0;
}
