#include "json/FailingNew.h"

#include <cstdint>
#include <cstdlib>
#include <new>

#include "ZelREKernel/json/vJSONObject.h"

namespace {

thread_local std::size_t s_left = SIZE_MAX;
thread_local std::ptrdiff_t s_live = 0;

}  // namespace

test::FailingNew::FailingNew(std::size_t after) noexcept {
    s_left = after;
}

test::FailingNew::~FailingNew() {
    Stop();
}

bool test::FailingNew::ReachesLibrary() {
    const std::ptrdiff_t before = s_live;
    const auto object = ZKL::vJSONObject::Create();
    return s_live != before;
}

void test::FailingNew::Stop() noexcept {
    s_left = SIZE_MAX;
}

bool test::MayAllocate() noexcept {
    const bool may = s_left != 0;
    s_left -= may && s_left != SIZE_MAX ? 1 : 0;
    return may;
}

std::ptrdiff_t test::LiveBlocks() noexcept {
    return s_live;
}

void* operator new(std::size_t size) {
    void* const block = test::MayAllocate() ? std::malloc(size != 0 ? size : 1) : nullptr;
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    ++s_live;
    return block;
}

// A sanitizer's own would not come here.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    try {
        return operator new(size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

void operator delete(void* block) noexcept {
    s_live -= block != nullptr ? 1 : 0;
    std::free(block);
}

void operator delete(void* block, std::size_t) noexcept {
    operator delete(block);
}
