#include "MekHost/assertion/MekCheck.h"

#include <atomic>
#include <cstdio>

namespace {

void PrintFailure(const char* expression, const char* path, int line) {
    std::fprintf(stderr, "%s:%d: check failed: %s\n", path, line, expression);
}

std::atomic<MekCheckHandler> s_handler{&PrintFailure};

void Report(const char* text, const char* path, int line) noexcept {
    s_handler.load(std::memory_order_acquire)(text ? text : "(null)", path ? path : "(null)", line);
}

}  // namespace

MekCheckHandler MekSetCheckHandler(MekCheckHandler handler) noexcept {
    return s_handler.exchange(handler ? handler : &PrintFailure, std::memory_order_acq_rel);
}

void Check_TRUE_Failed__(const char* expression, const char* path, int line) noexcept {
    Report(expression, path, line);
}

void Check_Pointer_Failed__(const char* expression, const char* path, int line) noexcept {
    Report(expression, path, line);
}

void CheckFailure__(const char* message, const char* path, int line) noexcept {
    Report(message, path, line);
}
