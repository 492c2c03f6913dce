#include "../Arguments.h"

std::vector<std::string> Utf8Arguments(int count, char** arguments) {
    return {arguments, arguments + count};
}
