#pragma once

#include <windows.h>

#include <cstring>

namespace test {

// While it lives no thread is to be had: the run-time library's function that starts one returns 0.
class NoThreads {
public:
    NoThreads() {
        constexpr unsigned char kReturn0[] = {0x33, 0xC0, 0xC3};  // xor eax, eax; ret
        std::memcpy(usual_, function_, sizeof usual_);
        Write(kReturn0);
    }
    ~NoThreads() { Write(usual_); }

private:
    void Write(const unsigned char* code) {
        WriteProcessMemory(GetCurrentProcess(), function_, code, sizeof usual_, nullptr);
    }

    void* const function_ =
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"msvcrt.dll"), "_beginthreadex"));
    unsigned char usual_[3];
};

}  // namespace test
