#include "base/LibraryEnd.h"

namespace ZKL {

bool AreThreadsGone() noexcept {
    return false;
}

bool CanThreadsEndMeanwhile() noexcept {
    return true;
}

}  // namespace ZKL
