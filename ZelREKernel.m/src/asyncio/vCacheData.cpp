#include "ZelREKernel/asyncio/vCacheData.h"

namespace ZKL {

vCacheData::~vCacheData() = default;

std::uint64_t vCacheData::GetSize() const {
    return data_.size();
}

bool vCacheData::Resize(std::uint64_t size) {
    data_.resize(size);
    return true;
}

std::uint8_t* vCacheData::GetData(std::uint64_t offset) {
    return offset < data_.size() ? data_.data() + offset : nullptr;
}

void vCacheData::Flush() {}

}  // namespace ZKL
