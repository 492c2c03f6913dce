#pragma once

#include <memory>
#include <string_view>

#include "core/LogSocketServer.h"
#include "core/TextLoggerOutput.h"

namespace ZKL {

// Sends the text to a viewer on the log's TCP port. While somebody else has the port, be it another
// one in this process, it is silent.
class NetworkLoggerOutput final : public TextLoggerOutput {
public:
    // Throws std::bad_alloc or std::system_error.
    NetworkLoggerOutput();

private:
    ~NetworkLoggerOutput() override;

    void WriteText(std::string_view text) override;

    std::unique_ptr<LogSocketServer> server_;
};

}  // namespace ZKL
