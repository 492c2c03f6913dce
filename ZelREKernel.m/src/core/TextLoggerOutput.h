#pragma once

#include <string>
#include <string_view>

#include "ZelREKernel/core/vLoggerOutput.h"

namespace ZKL {

// Brings the two Write operations of an output together into one.
class TextLoggerOutput : public vLoggerOutput {
public:
    void Write(const char* text) final;
    void Write(const std::string& text) final;

private:
    virtual void WriteText(std::string_view text) = 0;
};

}  // namespace ZKL
