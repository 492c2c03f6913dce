#pragma once

// Files that several writers add to.

#include <cstdio>
#include <string>

namespace ZKL {

// Opens the file at `path`, in UTF-8, to append text to, after emptying it if `afresh`; makes it if
// it is not there. Each write of such a stream goes behind all others, whichever stream of whatever
// process they came from. Null when it cannot be opened.
std::FILE* OpenToAppend(const std::string& path, bool afresh);

}  // namespace ZKL
