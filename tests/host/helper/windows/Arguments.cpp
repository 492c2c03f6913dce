#include "../Arguments.h"

#include <windows.h>

#include <shellapi.h>

#include <filesystem>

std::vector<std::string> Utf8Arguments(int, char**) {
    int count = 0;
    wchar_t** const wide = CommandLineToArgvW(GetCommandLineW(), &count);
    std::vector<std::string> arguments;
    for (int i = 0; i < count; ++i) {
        const std::u8string text = std::filesystem::path(wide[i]).u8string();
        arguments.emplace_back(text.begin(), text.end());
    }
    LocalFree(wide);
    return arguments;
}
