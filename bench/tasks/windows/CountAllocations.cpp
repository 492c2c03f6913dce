#include "tasks/CountAllocations.h"
