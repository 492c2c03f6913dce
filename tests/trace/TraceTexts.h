#pragma once

// Traces in short: each line "B 1 10 name" is an event, phase, thread, microseconds and name; for
// the phases s, t and f the name is the flow's number, for i it is that of a frame.

#include <fstream>
#include <initializer_list>
#include <sstream>
#include <string>

#include "Commands.h"
#include "Options.h"
#include "support/TempDir.h"

namespace test {

inline std::string EventText(const std::string& line) {
    std::istringstream words(line);
    std::string phase;
    std::string thread;
    std::string time;
    std::string name;
    words >> phase >> thread >> time >> std::ws;
    std::getline(words, name);
    std::string text = R"({"ph":")" + phase + R"(","pid":0,"tid":)" + thread + R"(,"ts":)" + time;
    if (phase == "s" || phase == "t" || phase == "f") {
        text += R"(,"name":"flow","cat":"flow","id":)" + name;
    } else if (phase == "i") {
        text += R"(,"name":"Frame","cat":"frame","args":{"frame":")" + name + "\"}";
    } else if (phase == "M") {
        text += R"(,"name":"thread_name","args":{"name":")" + name + "\"}";
    } else {
        text += R"(,"name":")" + name + R"(","cat":"kernel")";
    }
    return text + "}";
}

inline std::string TraceText(std::initializer_list<const char*> lines) {
    std::string text = "{\"traceEvents\":[\n";
    for (const char* line : lines) {
        text += (text.back() == '}' ? ",\n" : "") + EventText(line);
    }
    return text + "\n]}\n";
}

// Runs commands on files of a directory of its own.
class Tool {
public:
    std::string File(const std::string& name) const { return directory_.File(name); }

    void Write(const std::string& name, const std::string& text) const {
        std::ofstream(File(name), std::ios::binary) << text;
    }

    // The words of a command line; "@a" is the file a of the directory.
    trace::Result Run(const std::string& line) const {
        std::istringstream words(line);
        std::vector<std::string> arguments = {"zkl-trace"};
        for (std::string word; words >> word;) {
            arguments.push_back(word[0] == '@' ? File(word.substr(1)) : word);
        }
        std::vector<const char*> argv;
        for (const std::string& argument : arguments) {
            argv.push_back(argument.c_str());
        }
        trace::Options options;
        std::string error;
        if (trace::ParseOptions(static_cast<int>(argv.size()), argv.data(), options, error) !=
            trace::ParseResult::Run) {
            return {.status = trace::kUnusable, .output = "", .news = error};
        }
        return trace::Run(options);
    }

    // The same without the directory's name in the texts.
    std::string News(const trace::Result& result) const {
        std::string news = result.news + result.output;
        const std::string directory = File("");
        for (std::size_t at = 0; (at = news.find(directory, at)) != std::string::npos;) {
            news.erase(at, directory.size());
        }
        return news;
    }

private:
    TempDir directory_;
};

}  // namespace test
