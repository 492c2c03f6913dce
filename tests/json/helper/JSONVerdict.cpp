// Says of every file named on the command line whether it was read, one line each: the word "yes"
// or "no", a tab, and the value as one line or the first error. scripts/check-json compares.

#include <fstream>
#include <iostream>
#include <iterator>
#include <string>

#include "ZelREKernel/json/ZelCompactJSONWriter.h"
#include "ZelREKernel/json/ZelJSONReader.h"

int main(int count, char** arguments) {
    for (int i = 1; i < count; ++i) {
        std::ifstream file(arguments[i], std::ios::binary);
        const std::string text{std::istreambuf_iterator<char>(file), {}};
        ZelJSONReader reader;
        ZelJSONValue value;
        const bool read = file && reader.Parse(text, value);
        std::cout << (read ? "yes\t" : "no\t")
                  << (read ? ZelCompactJSONWriter().Write(value)
                           : reader.GetErrorList().front().message + '\n');
    }
    return 0;
}
