#pragma once

// The buffer that trace text is formatted into, and the rules by which it is handed on in chunks.
//
// A chunk is what came between two write-outs. It may be longer than the buffer: unscrambled, its
// pieces go to the sink as the buffer fills; scrambled, it is only counted from there on, since it
// is going to be dropped.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "MekHost/assertion/MekCheck.h"
#include "ZelREKernel/profiling/vCryptoTools.h"

namespace ZKL {

class ChunkBuffer {
public:
    using Write = void (*)(void* context, const char* text, std::size_t length);

    static constexpr std::size_t kSize = 8192;
    static constexpr std::size_t kThreshold = 7680;

    ChunkBuffer(Write write, void* context, bool isScrambled, std::uint32_t key) noexcept
        : write_(write), context_(context), isScrambled_(isScrambled), key_(key) {}

    // Where `size` bytes can be written that Commit then counts; null when they do not fit.
    char* Reserve(std::size_t size) noexcept {
        return size <= sizeof buffer_ - used_ ? buffer_ + used_ : nullptr;
    }
    void Commit(const char* end) noexcept { used_ = static_cast<std::size_t>(end - buffer_); }

    // Appends text of any length.
    void Append(const char* text, std::size_t length) noexcept {
        while (length != 0) {
            const std::size_t piece = std::min(length, sizeof buffer_ - used_);
            std::memcpy(buffer_ + used_, text, piece);
            used_ += piece;
            text += piece;
            length -= piece;
            if (length != 0) {
                _Spill();
            }
        }
    }

    bool IsPastThreshold() const noexcept { return spilled_ + used_ > kThreshold; }

    // Ends the chunk and hands it on. False when it was dropped.
    bool WriteOut() noexcept {
        const bool isKept = !isScrambled_ || _Scramble();
        if (isKept) {
            write_(context_, buffer_, used_);
        }
        used_ = spilled_ = 0;
        return isKept;
    }

private:
    void _Spill() noexcept {
        if (!isScrambled_) {
            write_(context_, buffer_, used_);
        }
        spilled_ += used_;
        used_ = 0;
    }

    bool _Scramble() noexcept {
        const std::size_t length = (spilled_ + used_ + 3) / 4 * 4;
        if (length > kSize) {
            Check_TRUE_Failed__("length <= iMaxLength", "src/vGoogleTracer", 194);
            return false;
        }
        std::memset(buffer_ + used_, ' ', length - used_);
        used_ = length;
        vCryptoTools::CypherXOR(buffer_, length, key_);
        return true;
    }

    Write write_;
    void* context_;
    bool isScrambled_;
    std::uint32_t key_;
    std::size_t used_ = 0;
    std::size_t spilled_ = 0;
    char buffer_[kSize];
};

}  // namespace ZKL
