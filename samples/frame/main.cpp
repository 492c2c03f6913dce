// Renders a model frame by frame on the kernel's task graph. Start reading at App.cpp for how a
// host brings the kernel up and down, at FrameGraph.cpp for how a frame becomes a graph.

#include <cstdio>
#include <exception>
#include <string>

#include "App.h"
#include "Crash.h"
#include "Look.h"
#include "Options.h"

int main(int argc, char** argv) {
    frame::Options options;
    std::string error;
    switch (frame::ParseOptions(argc, argv, options, error)) {
        case frame::ParseResult::Help:
            std::fputs(frame::HelpText().c_str(), stdout);
            return 0;
        case frame::ParseResult::Bad:
            std::fprintf(stderr, "frame: %s\n", error.c_str());
            return 2;
        case frame::ParseResult::Run:
            break;
    }
    try {
        if (!frame::ApplyControlVars(options.controlVars, error)) {
            std::fprintf(stderr, "frame: %s\n", error.c_str());
            return 2;
        }
        if (options.listControlVars) {
            std::fputs(frame::ListControlVars().c_str(), stdout);
            return 0;
        }
        if (!options.crashHere.empty()) {
            frame::ReportCrashes();
        } else if (!options.crash.empty()) {
            return frame::RunCrash(options.crash, options.out, argc, argv);
        }
        return frame::RunApp(options);
    } catch (const std::exception& exception) {
        std::fprintf(stderr, "frame: %s\n", exception.what());
        return 1;
    }
}
