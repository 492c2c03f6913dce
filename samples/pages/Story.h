#pragma once

#include <iosfwd>

// A level is loaded, half of it goes, more comes, pages are compacted and emptied: writes the state
// of a best-fit allocator to `out` again and again, as Stream writes it.
void TellStory(std::ostream& out);
