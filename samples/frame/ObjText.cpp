#include "ObjText.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string_view>

namespace frame {
namespace {

constexpr std::uintmax_t kLargestFile = std::uintmax_t{512} << 20;

constexpr std::string_view kBlanks = " \t\r";

// Takes the next word off the front of `line`; empty at its end.
std::string_view TakeWord(std::string_view& line) {
    line.remove_prefix(std::min(line.find_first_not_of(kBlanks), line.size()));
    const std::string_view word = line.substr(0, line.find_first_of(kBlanks));
    line.remove_prefix(word.size());
    return word;
}

// Counts the words of `line` up to a comment; -1 when one holds another character than `allowed`.
int CountWords(std::string_view line, std::string_view allowed) {
    int count = 0;
    for (std::string_view word = TakeWord(line); !word.empty() && word[0] != '#';
         word = TakeWord(line)) {
        if (word.find_first_not_of(allowed) != std::string_view::npos) {
            return -1;
        }
        ++count;
    }
    return count;
}

enum class Verdict { KeepName, KeepNumbers, Drop, BadCoordinate, BadFace };

Verdict Judge(std::string_view line) {
    const std::string_view keyword = TakeWord(line);
    if (keyword == "v" || keyword == "vn") {
        return CountWords(line, "0123456789+-.eE") >= 3 ? Verdict::KeepNumbers
                                                        : Verdict::BadCoordinate;
    }
    if (keyword == "f") {
        return CountWords(line, "0123456789/-") >= 3 ? Verdict::KeepNumbers : Verdict::BadFace;
    }
    if (keyword == "usemtl") {
        return Verdict::KeepName;
    }
    const bool local = keyword == "mtllib" && line.find_first_of("/\\") == std::string_view::npos &&
                       line.find("..") == std::string_view::npos;
    return local ? Verdict::KeepName : Verdict::Drop;
}

}  // namespace

bool ReadWholeFile(const std::string& path, std::string& text, std::string& error) {
    std::error_code code;
    const auto status = std::filesystem::status(path, code);
    if (!std::filesystem::exists(status)) {
        error = "no such file";
        return false;
    }
    if (!std::filesystem::is_regular_file(status)) {
        error = "not a regular file";
        return false;
    }
    const std::uintmax_t size = std::filesystem::file_size(path, code);
    if (code || size > kLargestFile) {
        error = code ? code.message() : "larger than 512 MiB";
        return false;
    }
    std::ifstream file(path, std::ios::binary);
    text.resize(static_cast<std::size_t>(size));
    if (!file.read(text.data(), static_cast<std::streamsize>(size))) {
        error = "cannot be read";
        return false;
    }
    return true;
}

bool KeepTriangleStatements(const std::string& text, std::string& kept, std::string& error) {
    const std::string_view all = text;
    std::size_t begin = 0;
    for (std::size_t number = 1; begin < all.size(); ++number) {
        const std::size_t end = std::min(all.find('\n', begin), all.size());
        const std::string_view line = all.substr(begin, end - begin);
        const Verdict verdict = Judge(line);
        if (verdict == Verdict::KeepName) {
            kept.append(line).push_back('\n');
        } else if (verdict == Verdict::KeepNumbers) {
            // The parser takes a comment behind a face for corners.
            kept.append(line.substr(0, line.find('#'))).push_back('\n');
        } else if (verdict != Verdict::Drop) {
            error = "line " + std::to_string(number) +
                    (verdict == Verdict::BadFace ? " is no face of three or more corners"
                                                 : " is no coordinate of three numbers");
            return false;
        }
        begin = end + 1;
    }
    return true;
}

}  // namespace frame
