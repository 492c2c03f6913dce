// host-child exit <code>             ends with that exit code
// host-child abort                   ends by a signal
// host-child arguments <file> ...    writes each argument that follows and a line feed
// host-child owns <descriptor>       ends with 1 when it can write to the descriptor, else with 0
// host-child echo <port> <bytes>     connects, sends back so many bytes and ends by a signal

#include <MekHost/MekStatus.h>
#include <MekHost/system/MekSockets.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "Arguments.h"

namespace {

int WriteArguments(const std::vector<std::string>& arguments) {
    std::ofstream file(arguments[2], std::ios::binary);
    for (std::size_t i = 3; i < arguments.size(); ++i) {
        file << arguments[i] << '\n';
    }
    return file.flush() ? 0 : 1;
}

void Echo(int port, long long bytes) {
    MekSockets* connection = nullptr;
    MekSockets::Connect("127.0.0.1", port, -1, &connection);
    char buffer[4096];
    std::size_t received = 0;
    while (bytes > 0 && connection->Receive(buffer, sizeof buffer, -1, &received) == kMekOk) {
        connection->Send(buffer, received);
        bytes -= static_cast<long long>(received);
    }
    std::abort();
}

}  // namespace

int main(int count, char** arguments) {
    const std::string order = count > 1 ? arguments[1] : "";
    if (order == "abort") {
        std::abort();
    }
    if (order == "exit") {
        return std::atoi(arguments[2]);
    }
    if (order == "arguments") {
        return WriteArguments(Utf8Arguments(count, arguments));
    }
    if (order == "owns") {
        return write(std::atoi(arguments[2]), "x", 1) == 1 ? 1 : 0;
    }
    if (order == "echo") {
        Echo(std::atoi(arguments[2]), std::atoll(arguments[3]));
    }
    return 2;
}
