#include "windows/CommandLine.h"

#include <algorithm>

#include "windows/WideText.h"

namespace mek {
namespace {

// Between quotation marks, a run of backslashes means itself unless a quotation mark follows: then
// every two of them mean one, and a last odd one makes the mark a part of the text.
void AppendQuoted(const std::wstring& argument, std::wstring& line) {
    line += L" \"";
    std::size_t backslashes = 0;
    for (const wchar_t each : argument) {
        if (each == L'"') {
            line.append(backslashes + 1, L'\\');
        }
        backslashes = each == L'\\' ? backslashes + 1 : 0;
        line += each;
    }
    line.append(backslashes, L'\\');
    line += L'"';
}

}  // namespace

std::wstring CommandLine(const char* const* arguments) {
    if (!*arguments) {
        return {};
    }
    // The program's name is read by a simpler rule: up to the next quotation mark.
    std::wstring name = ToWide(*arguments);
    name.erase(std::remove(name.begin(), name.end(), L'"'), name.end());
    std::wstring line = L'"' + name + L'"';
    // Always quoted: so an empty argument stays one, and nothing in it is taken for a pattern.
    while (*++arguments) {
        AppendQuoted(ToWide(*arguments), line);
    }
    return line;
}

}  // namespace mek
