#pragma once

#include <string_view>

#include "core/TextLoggerOutput.h"

class MekAbendInfo;

namespace ZKL {

// Adds to the log's section of the host's crash report, which all such outputs share.
class AbendLoggerOutput final : public TextLoggerOutput {
public:
    // Makes the section on first use; it stays until the library is unloaded.
    AbendLoggerOutput();

private:
    void WriteText(std::string_view text) override;

    MekAbendInfo* section_;
};

}  // namespace ZKL
