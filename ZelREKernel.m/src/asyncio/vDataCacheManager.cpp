#include "ZelREKernel/asyncio/vDataCacheManager.h"

#include <memory>
#include <new>

namespace ZKL {

vDataCacheManager::vDataCacheManager() noexcept : reserved_(nullptr) {}

vDataCacheManager::~vDataCacheManager() {
    reserved_ = nullptr;
}

vDataCacheManager& vDataCacheManager::GetInstance() {
    static vDataCacheManager s_manager;
    return s_manager;
}

vSmartPtr<vCacheData> vDataCacheManager::Open(std::uint64_t size) {
    std::unique_ptr<vCacheData> data(new (std::nothrow) vCacheData);
    if (!data) {
        return nullptr;
    }
    data->Resize(size);
    vSmartPtr<vCacheData> owner(data.get());
    if (owner) {  // else it got no link for want of memory, and cannot be shared
        static_cast<void>(data.release());
    }
    return owner;
}

}  // namespace ZKL
