#include "tasks/NativeThread.h"

#include <windows.h>

#include <cstring>
#include <limits>

namespace ZKL {
namespace {

using SetDescription = HRESULT WINAPI(HANDLE thread, const wchar_t* description);

constexpr int kNameUnits = 128;  // the terminator included
// So many units have no more bytes in UTF-8, and so many bytes have no more units.
constexpr int kNameBytes = 3 * kNameUnits;

// Null on a system that knows no names of threads.
SetDescription* FindSetDescription() noexcept {
    const HMODULE library = LoadLibraryW(L"KernelBase.dll");
    const FARPROC function = library ? GetProcAddress(library, "SetThreadDescription") : nullptr;
    return reinterpret_cast<SetDescription*>(reinterpret_cast<void*>(function));
}

// As many whole characters as there is room for.
void ConvertName(const char* name, wchar_t (&out)[kNameUnits]) noexcept {
    wchar_t units[kNameBytes] = {};
    const int count = MultiByteToWideChar(
        CP_UTF8, 0, name, static_cast<int>(strnlen(name, kNameBytes)), units, kNameBytes);
    if (count >= kNameUnits) {
        // The first half of a pair does not stay alone.
        units[kNameUnits - (IS_HIGH_SURROGATE(units[kNameUnits - 2]) ? 2 : 1)] = L'\0';
    }
    std::memcpy(out, units, sizeof out);
}

}  // namespace

bool SetNativeThreadAffinity(unsigned int group, unsigned int cpu) noexcept {
    GROUP_AFFINITY affinity = {};
    if (group > std::numeric_limits<WORD>::max()) {
        return false;
    }
    affinity.Group = static_cast<WORD>(group);
    affinity.Mask = KAFFINITY{1} << cpu;
    return SetThreadGroupAffinity(GetCurrentThread(), &affinity, nullptr) != 0;
}

void SetNativeThreadName(const char* name) noexcept {
    static SetDescription* const setDescription = FindSetDescription();
    if (setDescription) {
        wchar_t units[kNameUnits];
        ConvertName(name, units);
        setDescription(GetCurrentThread(), units);
    }
}

}  // namespace ZKL
