// Shows the states that a best-fit allocator has streamed, one behind the other in a file: a dump
// of the last one, and as a picture its blocks and the fragmentation over time.

#include <cstring>
#include <fstream>
#include <iostream>
#include <sstream>

#include "Picture.h"
#include "Story.h"

namespace {

constexpr const char* kUsage =
    "usage: pages [--svg PICTURE] [STATES]\n\n"
    "  STATES   a file of one or more texts of vBestFitAllocator::Stream; without it a built-in "
    "story\n"
    "  PICTURE  the SVG to write\n";

int Show(std::istream& states, const char* picture) {
    ZKL::vBestFitAllocator last;
    std::vector<float> fragmentation;
    while (states >> std::ws && !states.eof()) {
        last.Unstream(states);
        if (!states || !last.Validate()) {
            std::cerr << "pages: state " << fragmentation.size() + 1 << " is broken\n";
            return 1;
        }
        fragmentation.push_back(last.GetFragmentation());
    }
    Dump(std::cout, last);
    if (picture != nullptr) {
        std::ofstream out(picture);
        Draw(out, last, fragmentation);
        if (!out.flush()) {
            std::cerr << "pages: cannot write " << picture << "\n";
            return 1;
        }
    }
    std::cout << "drawn from " << fragmentation.size() << " states\n";
    return 0;
}

}  // namespace

int main(int count, char** arguments) {
    const char* picture = nullptr;
    const char* file = nullptr;
    for (int i = 1; i < count; ++i) {
        if (std::strcmp(arguments[i], "--svg") == 0 && i + 1 < count) {
            picture = arguments[++i];
        } else if (arguments[i][0] != '-' && file == nullptr) {
            file = arguments[i];
        } else {
            std::cerr << kUsage;
            return 2;
        }
    }
    if (file != nullptr) {
        std::ifstream states(file);
        if (!states) {
            std::cerr << "pages: cannot read " << file << "\n";
            return 1;
        }
        return Show(states, picture);
    }
    std::stringstream states;
    TellStory(states);
    return Show(states, picture);
}
