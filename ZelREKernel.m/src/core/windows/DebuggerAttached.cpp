#include "core/DebuggerAttached.h"

#include <windows.h>

#include <algorithm>
#include <cstring>

namespace ZKL {
namespace {

// Debuggers that listen for every process of the system share a page with the sender, which also
// holds a number and the terminator.
constexpr std::size_t kPiece = 4096 - sizeof(DWORD) - 1;

}  // namespace

bool IsDebuggerAttached() {
    return IsDebuggerPresent() != 0;
}

void SendToDebugger(std::string_view text) {
    char piece[kPiece + 1];
    while (!text.empty()) {
        const std::size_t length = std::min(text.size(), kPiece);
        std::memcpy(piece, text.data(), length);
        piece[length] = '\0';
        OutputDebugStringA(piece);
        text.remove_prefix(length);
    }
}

}  // namespace ZKL
