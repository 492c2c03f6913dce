#include "core/AbendLoggerOutput.h"

#include "MekHost/process/MekAbendInfo.h"

namespace ZKL {
namespace {

constexpr unsigned kSizeClass = 16;
constexpr int kInReport = 1;
constexpr int kKeepOrder = 1;

struct SharedSection {
    SharedSection() : info(kSizeClass) {
        info.SetInformationSpecs(kSizeClass, "ZELO INFORMATION", kInReport, kKeepOrder);
    }
    MekAbendInfo info;
};

MekAbendInfo* GetSharedSection() {
    static SharedSection s_section;
    return &s_section.info;
}

}  // namespace

AbendLoggerOutput::AbendLoggerOutput() : section_(GetSharedSection()) {}

void AbendLoggerOutput::WriteText(std::string_view text) {
    section_->Append(text);
}

}  // namespace ZKL
