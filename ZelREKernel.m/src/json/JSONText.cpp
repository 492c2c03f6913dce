#include "json/JSONText.h"

#include <algorithm>

namespace ZelJSON {
namespace {

char* CopyTo(char* to, std::string_view text) noexcept {
    std::memcpy(to, text.data(), text.size());
    to[text.size()] = '\0';
    return to;
}

}  // namespace

void SetText(ZelJSONSlot& slot, std::string_view text) {
    if (text.size() <= kInlineText) {
        SetInlineText(slot, text.data(), text.size());
        return;
    }
    slot.payload.text = CopyTo(static_cast<char*>(Allocate(text.size() + 1)), text);
    slot.aux =
        kOutOfLine | static_cast<std::uint32_t>(std::min<std::size_t>(text.size(), kHeapLength));
    slot.type = kString;
}

void SetText(ZelJSONSlot& slot, std::string_view text, BlockWriter& blocks) {
    if (text.size() <= kInlineText || text.size() > kLongestBlockText) {
        SetText(slot, text);
        return;
    }
    SetBlockText(slot, CopyTo(blocks.Text(text.size() + 1), text), text.size(), blocks);
}

void ReleaseText(ZelJSONSlot& slot) noexcept {
    if (!IsInline(slot)) {
        if (slot.aux < kInBlock) {
            Free(slot.payload.text);
        } else {
            Block::Of(slot.payload.text, slot.aux >> 12 & 0xFFF)->Release(1);
        }
    }
    slot.payload.text = nullptr;
    slot.aux = kNullText;
}

}  // namespace ZelJSON
