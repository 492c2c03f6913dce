#include "Output.h"

namespace trace {

// It does from the beginning.
void PrepareOutput() {}

}  // namespace trace
