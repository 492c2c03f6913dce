// diagnostics-child <code> <file> ...   writes each argument that follows and a line feed to the
//                                       file, fills standard output with a megabyte, and ends with
//                                       that exit code

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

int main(int count, char** arguments) {
    if (count < 3) {
        return 2;
    }
    std::ofstream file(arguments[2], std::ios::binary);
    for (int i = 3; i < count; ++i) {
        file << arguments[i] << '\n';
    }
    file.close();
    std::fputs(std::string(1 << 20, 'x').c_str(), stdout);
    return std::atoi(arguments[1]);
}
