#pragma once

// What the system's terminal does; one source for each system.

namespace logview {

struct Terminal {
    bool isThere = false;  // standard output is one
    bool hasColours = false;
};

// Prepares standard output, which shows colours from then on where it can. Lines go out with the
// line feed alone.
Terminal PrepareOutput();

// Whether a write failed with this number because nobody reads any more.
bool IsReaderGone(int error);

}  // namespace logview
