#pragma once

// Every public header of the kernel library.

#include "ZelREKernel/base/vSlimLock.h"
