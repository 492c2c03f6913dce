#pragma once

// What the system's terminal does; one source for each system.

namespace logview {

// Prepares standard output: true when it is a terminal that shows colours, which it does from then
// on. Lines go out with the line feed alone.
bool PrepareOutput();

}  // namespace logview
