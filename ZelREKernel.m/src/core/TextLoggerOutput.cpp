#include "core/TextLoggerOutput.h"

#include "MekHost/assertion/MekCheck.h"

namespace ZKL {

void TextLoggerOutput::Write(const char* text) {
    if (!text) {
        Check_Pointer_Failed__("text", __FILE__, __LINE__);
        return;
    }
    WriteText(text);
}

void TextLoggerOutput::Write(const std::string& text) {
    WriteText(text);
}

}  // namespace ZKL
