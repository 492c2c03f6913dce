#include "ZelREKernel/base/vMainThread.h"

#include <thread>

namespace ZKL {

bool IsMainThread() noexcept {
    static const std::thread::id mainThread = std::this_thread::get_id();
    return std::this_thread::get_id() == mainThread;
}

}  // namespace ZKL
