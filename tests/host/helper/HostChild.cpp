// host-child exit <code>             ends with that exit code
// host-child abort                   ends by a signal
// host-child arguments <file> ...    writes "<n>:<argument>" and a line feed for each that follows
// host-child owns <descriptor>       ends with 1 when it can write to the descriptor, else with 0
// host-child echo <port>             connects and sends back what it receives until disconnected
// host-child die <port>              connects, sends one byte, receives one and ends by a signal

#include <MekHost/MekStatus.h>
#include <MekHost/system/MekSockets.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>

namespace {

int WriteArguments(int count, char** arguments) {
    std::ofstream file(arguments[2], std::ios::binary);
    for (int i = 3; i < count; ++i) {
        file << i - 3 << ':' << arguments[i] << '\n';
    }
    return file.flush() ? 0 : 1;
}

std::unique_ptr<MekSockets> ConnectTo(const char* port) {
    MekSockets* connection = nullptr;
    if (MekSockets::Connect("127.0.0.1", std::atoi(port), -1, &connection) != kMekOk) {
        std::exit(3);
    }
    return std::unique_ptr<MekSockets>(connection);
}

int Echo(const char* port) {
    const std::unique_ptr<MekSockets> connection = ConnectTo(port);
    char buffer[4096];
    std::size_t received = 0;
    while (connection->Receive(buffer, sizeof buffer, -1, &received) == kMekOk) {
        connection->Send(buffer, received);
    }
    return 0;
}

int Die(const char* port) {
    const std::unique_ptr<MekSockets> connection = ConnectTo(port);
    char byte = '!';
    std::size_t received = 0;
    connection->Send(&byte, 1);
    connection->Receive(&byte, 1, -1, &received);
    std::abort();
}

}  // namespace

int main(int count, char** arguments) {
    const std::string order = count > 1 ? arguments[1] : "";
    if (order == "abort") {
        std::abort();
    }
    if (count < 3) {
        return 2;
    }
    if (order == "exit") {
        return std::atoi(arguments[2]);
    }
    if (order == "arguments") {
        return WriteArguments(count, arguments);
    }
    if (order == "owns") {
        return write(std::atoi(arguments[2]), "x", 1) == 1 ? 1 : 0;
    }
    if (order == "echo") {
        return Echo(arguments[2]);
    }
    return order == "die" ? Die(arguments[2]) : 2;
}
