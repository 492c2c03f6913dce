// Checks, summarises, compares, unscrambles and shows traces.

#include <cstdio>

#include "Commands.h"
#include "Options.h"
#include "Output.h"

int main(int argc, char** argv) {
    trace::Options options;
    std::string error;
    trace::PrepareOutput();
    switch (trace::ParseOptions(argc, argv, options, error)) {
        case trace::ParseResult::Help:
            std::fputs(trace::HelpText().c_str(), stdout);
            return trace::kFine;
        case trace::ParseResult::Bad:
            std::fprintf(stderr, "zkl-trace: %s; --help tells more\n", error.c_str());
            return trace::kUnusable;
        case trace::ParseResult::Run:
            break;
    }
    const trace::Result result = trace::Run(options);
    std::fputs(result.news.c_str(), stderr);
    if (result.status != trace::kUnusable &&
        !trace::WriteOutput(options.out, result.output, error)) {
        std::fprintf(stderr, "zkl-trace: %s\n", error.c_str());
        return trace::kUnusable;
    }
    return result.status;
}
