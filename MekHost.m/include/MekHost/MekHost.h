#pragma once

// Every public header of the host services.

#include "MekHost/MekStatus.h"
#include "MekHost/assertion/MekCheck.h"
#include "MekHost/process/MekAbendInfo.h"
#include "MekHost/process/MekEnvironment.h"
#include "MekHost/process/MekStartProcess.h"
#include "MekHost/system/MekEvent.h"
#include "MekHost/system/MekMutex.h"
#include "MekHost/system/MekSignalStack.h"
#include "MekHost/system/MekSockets.h"
#include "MekHost/system/MekThreads.h"
#include "MekHost/system/MekUnicodeString.h"
#include "MekHost/system/RudSysJob.h"
#include "MekHost/system/RudSysSemaphore.h"
