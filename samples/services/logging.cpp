// Logging: channels with levels, and outputs that can be changed while the program runs.
#include <ZelREKernel/ZelREKernel.h>

int main() {
    using Level = ZKL::vLogger;
    using Channels = ZKL::vLoggerManager;

    ZKL::LogRufx(Level::eInfo, "%d shaders compiled", 12);

    ZKL::vLogger& channel = Channels::GetInstance().GetLogger(Channels::eRufx);
    channel.SetLevel(Level::eError);
    ZKL::LogRufx(Level::eInfo, "this is below the level");
    ZKL::LogRufx(Level::eError, "shader %s: no entry point", "glass");

    // A channel that is off at first and has no output: turn it on, and say where its text goes.
    ZKL::vLogger& draws = Channels::GetInstance().GetLogger(Channels::eDrawCall);
    draws.BeginLog();
    ZKL::LogDrawCall(Level::eInfo, "kept until there is an output");
    draws.SetOutput("stdout");
    ZKL::LogDrawCall(Level::eInfo, "%u triangles", 4096U);

    // This one indents by words of its format.
    Channels::GetInstance().GetLogger(Channels::ePipelining).BeginLog();
    ZKL::LogPipelining(Level::eInfo, "frame\npushtab\n");
    ZKL::LogPipelining(Level::eInfo, "shadow pass\nlight pass\n");
    ZKL::LogPipelining(Level::eInfo, "poptab\ndone\n");
    return 0;
}
