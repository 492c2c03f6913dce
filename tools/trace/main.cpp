// Checks, summarises, compares, unscrambles and shows traces.

#include <cstdio>

#include "Commands.h"
#include "Options.h"
#include "Output.h"

namespace {

bool Print(const std::string& file, const std::string& text) {
    std::string error;
    const bool isWritten = trace::WriteOutput(file, text, error);
    if (!isWritten) {
        std::fprintf(stderr, "zkl-trace: %s\n", error.c_str());
    }
    return isWritten;
}

}  // namespace

int main(int argc, char** argv) {
    trace::Options options;
    std::string error;
    trace::PrepareOutput();
    switch (trace::ParseOptions(argc, argv, options, error)) {
        case trace::ParseResult::Help:
            return Print("", trace::HelpText()) ? trace::kFine : trace::kUnusable;
        case trace::ParseResult::Bad:
            std::fprintf(stderr, "zkl-trace: %s; --help tells more\n", error.c_str());
            return trace::kUnusable;
        case trace::ParseResult::Run:
            break;
    }
    const trace::Result result = trace::Run(options);
    std::fputs(result.news.c_str(), stderr);
    const bool isDone = result.status == trace::kUnusable || Print(options.out, result.output);
    return isDone ? result.status : trace::kUnusable;
}
