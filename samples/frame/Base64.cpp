#include "Base64.h"

#include <cstdint>

namespace frame {
namespace {

constexpr std::string_view kDigits =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

}  // namespace

bool DecodeBase64(std::string_view text, std::string& bytes) {
    for (int padding = 0; padding < 2 && text.ends_with('='); ++padding) {
        text.remove_suffix(1);
    }
    bytes.clear();
    bytes.reserve(text.size() / 4 * 3 + 2);
    std::uint32_t bits = 0;
    int held = 0;
    for (const char c : text) {
        const std::size_t value = kDigits.find(c);
        if (value == std::string_view::npos) {
            return false;
        }
        bits = bits << 6 | static_cast<std::uint32_t>(value);
        held += 6;
        if (held >= 8) {
            held -= 8;
            bytes += static_cast<char>(bits >> held);
        }
    }
    return text.size() % 4 != 1;
}

}  // namespace frame
