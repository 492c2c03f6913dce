// A viewer of the log: connects to its port, copies what it receives to a file until the connection
// ends, and ends. It keeps trying while nobody listens.
//
//     core-viewer <file>

#include <MekHost/MekStatus.h>
#include <MekHost/system/MekSockets.h>

#include <chrono>
#include <cstdio>
#include <memory>
#include <thread>

int main(int count, char** arguments) {
    constexpr int kPort = 4666;
    std::FILE* const file = count == 2 ? std::fopen(arguments[1], "wb") : nullptr;
    MekSockets* connection = nullptr;
    while (file && MekSockets::Connect("127.0.0.1", kPort, 1000, &connection) != kMekOk) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    if (!file) {
        return 1;
    }
    char buffer[4096];
    std::size_t received = 0;
    while (connection->Receive(buffer, sizeof(buffer), -1, &received) == kMekOk) {
        std::fwrite(buffer, 1, received, file);
        std::fflush(file);
    }
    delete connection;
    std::fputs("<end>", file);
    return std::fclose(file) == 0 ? 0 : 1;
}
