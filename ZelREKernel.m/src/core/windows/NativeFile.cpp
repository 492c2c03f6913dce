#include "core/NativeFile.h"

#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <cstdint>

namespace ZKL {
namespace {

// Empty when the text is no UTF-8.
std::wstring Widen(const std::string& text) {
    const auto convert = [&](wchar_t* out, std::size_t room) {
        return MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, text.c_str(), -1, out,
                                   static_cast<int>(room));
    };
    std::wstring wide(static_cast<std::size_t>(convert(nullptr, 0)), L'\0');
    convert(wide.data(), wide.size());
    return wide;
}

}  // namespace

// Not _wfopen: a stream opened so looks for the end and then writes, two steps between which
// another writer may come. A handle that may do nothing but append has the system do both at once.
std::FILE* OpenToAppend(const std::string& path, bool afresh) {
    const HANDLE file =
        CreateFileW(Widen(path).c_str(), FILE_APPEND_DATA | SYNCHRONIZE,
                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                    afresh ? CREATE_ALWAYS : OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        return nullptr;
    }
    const int descriptor =
        _open_osfhandle(reinterpret_cast<std::intptr_t>(file), _O_APPEND | _O_TEXT);
    if (descriptor < 0) {
        CloseHandle(file);
        return nullptr;
    }
    std::FILE* const stream = _fdopen(descriptor, "a");
    if (!stream) {
        _close(descriptor);
    }
    return stream;
}

}  // namespace ZKL
