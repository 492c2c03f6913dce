#include "core/NetworkLoggerOutput.h"

namespace ZKL {

NetworkLoggerOutput::NetworkLoggerOutput() : server_(new LogSocketServer) {
    server_->Start(0);
}

NetworkLoggerOutput::~NetworkLoggerOutput() {
    server_->Send("--KILL_SOCKET--");
}

void NetworkLoggerOutput::WriteText(std::string_view text) {
    server_->Send(text);
}

}  // namespace ZKL
