// The data cache: shared blocks of bytes, which a cache with a store behind it could hand out as
// well.
#include <cstdio>
#include <cstring>

#include <ZelREKernel/ZelREKernel.h>

int main() {
    const ZKL::vSmartPtr<ZKL::vCacheData> block = ZKL::vDataCacheManager::GetInstance().Open(16);
    if (!block) {
        return 1;
    }
    std::memcpy(block->GetData(0), "pixels", 7);
    block->Resize(1024);  // keeps the bytes; the new ones are zero
    std::printf("%s, %u bytes, the last one %d\n", reinterpret_cast<const char*>(block->GetData(0)),
                static_cast<unsigned>(block->GetSize()), *block->GetData(1023));
    std::puts(block->GetData(1024) ? "more" : "nothing behind the end");
    return 0;
}
