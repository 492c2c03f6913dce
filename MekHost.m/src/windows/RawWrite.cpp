#include "common/RawWrite.h"

#include <io.h>
#include <windows.h>

#include <algorithm>
#include <cerrno>

namespace mek {
namespace {

constexpr std::size_t kMostAtOnce = std::size_t{1} << 30;

}  // namespace

// Past the C run-time, which would take its lock and write CR LF for LF.
bool RawWrite(int descriptor, std::string_view text) {
    const int errorBefore = errno;
    const DWORD lastErrorBefore = GetLastError();
    auto* const file = reinterpret_cast<HANDLE>(_get_osfhandle(descriptor));
    while (!text.empty()) {
        DWORD written = 0;
        const auto bytes = static_cast<DWORD>(std::min(text.size(), kMostAtOnce));
        if (!WriteFile(file, text.data(), bytes, &written, nullptr) || written == 0) {
            break;
        }
        text.remove_prefix(written);
    }
    SetLastError(lastErrorBefore);
    errno = errorBefore;
    return text.empty();
}

}  // namespace mek
