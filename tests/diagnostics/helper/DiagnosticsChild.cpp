// diagnostics-child <code>              writes a megabyte to standard output
// diagnostics-child <code> <file> ...   writes each argument that follows and a line feed to the
//                                       file
// Both end with that exit code.

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

int main(int count, char** arguments) {
    if (count == 2) {
        std::fputs(std::string(1 << 20, 'x').c_str(), stdout);
    } else if (count > 2) {
        std::ofstream file(arguments[2], std::ios::binary);
        for (int i = 3; i < count; ++i) {
            file << arguments[i] << '\n';
        }
    }
    return count > 1 ? std::atoi(arguments[1]) : 2;
}
