#pragma once

// The files of the folder report/, as CMake puts them into the program.

#include <string_view>

namespace trace {

extern const std::string_view
    kReportPage;  // with the places @STYLE@, @DATA@ and @PROGRAM@, in this order
extern const std::string_view kReportStyle;
extern const std::string_view kReportProgram;

}  // namespace trace
