#pragma once

#include <string>
#include <vector>

// The arguments of main() in UTF-8, the program first. What main() gets on Windows is in the code
// page of the machine.
std::vector<std::string> Utf8Arguments(int count, char** arguments);
