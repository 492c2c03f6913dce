#include "base/LibraryEnd.h"

#include "base/ThreadAtWork.h"

namespace ZKL {

bool IsEndingAmidWork() noexcept {
    return AreThreadsGone() || ThreadAtWork::Exists();
}

}  // namespace ZKL
