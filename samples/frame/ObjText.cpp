#include "ObjText.h"

#include <filesystem>
#include <fstream>
#include <string_view>

namespace frame {
namespace {

constexpr std::uintmax_t kLargestFile = std::uintmax_t{512} << 20;

std::string_view Keyword(std::string_view line) {
    const std::size_t begin = line.find_first_not_of(" \t");
    if (begin == std::string_view::npos) {
        return {};
    }
    const std::size_t end = line.find_first_of(" \t\r", begin);
    return line.substr(begin, end == std::string_view::npos ? end : end - begin);
}

std::string_view Arguments(std::string_view line, std::string_view keyword) {
    return line.substr(static_cast<std::size_t>(keyword.data() - line.data()) + keyword.size());
}

enum class Verdict { Keep, Drop, Broken };

Verdict Judge(std::string_view line) {
    const std::string_view keyword = Keyword(line);
    if (keyword == "v" || keyword == "vn") {
        const std::string_view numbers = Arguments(line, keyword);
        return numbers.find_first_not_of("0123456789+-.eE \t\r") == std::string_view::npos
                   ? Verdict::Keep
                   : Verdict::Broken;
    }
    if (keyword == "f" || keyword == "usemtl") {
        return Verdict::Keep;
    }
    const bool local = keyword == "mtllib" && line.find_first_of("/\\") == std::string_view::npos &&
                       line.find("..") == std::string_view::npos;
    return local ? Verdict::Keep : Verdict::Drop;
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
        if (verdict == Verdict::Broken) {
            error = "line " + std::to_string(number) + " holds a coordinate that is no number";
            return false;
        }
        if (verdict == Verdict::Keep) {
            kept.append(line).push_back('\n');
        }
        begin = end + 1;
    }
    return true;
}

}  // namespace frame
