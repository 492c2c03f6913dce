#pragma once

#include <string_view>

#include "core/LogSocketServer.h"
#include "core/TextLoggerOutput.h"

namespace ZKL {

// Sends the text to a viewer on the log's TCP port. A second one in a process, or a port that
// somebody else has, leaves it silent.
class NetworkLoggerOutput final : public TextLoggerOutput {
public:
    // Throws std::bad_alloc or std::system_error.
    NetworkLoggerOutput();

private:
    ~NetworkLoggerOutput() override;

    void WriteText(std::string_view text) override;

    LogSocketServer* server_;
};

}  // namespace ZKL
