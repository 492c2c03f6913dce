#include "Output.h"

#include <fcntl.h>
#include <io.h>

#include <cstdio>

namespace trace {

void PrepareOutput() {
    _setmode(_fileno(stdout), _O_BINARY);
}

}  // namespace trace
