#include "core/NetworkLoggerOutput.h"

#include <utility>

namespace ZKL {

NetworkLoggerOutput::NetworkLoggerOutput() : server_(new LogSocketServer) {
    server_->Start(0);
}

NetworkLoggerOutput::~NetworkLoggerOutput() {
    LogSocketServer::End(std::move(server_));
}

void NetworkLoggerOutput::WriteText(std::string_view text) {
    server_->Send(text);
}

}  // namespace ZKL
