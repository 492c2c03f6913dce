#include "core/LogQueue.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

#include "ZelREKernel/core/vLoggerOutput.h"

namespace ZKL {
namespace {

constexpr std::size_t kBlockBytes = 64 * 1024;
// An emptied queue keeps this many blocks (1 MiB) for the next burst.
constexpr std::size_t kKeptBlocks = 16;

}  // namespace

LogQueue::~LogQueue() {
    Consume([](vLoggerOutput&, std::string_view) {});
}

void LogQueue::Append(std::string_view text, vLoggerOutput& output) {
    const Entry entry = {&output == lastOutput_ ? nullptr : &output, text.size()};
    const std::size_t bytes = sizeof(entry) + text.size();
    Block& block = BlockWithRoom(bytes);
    char* const place = block.memory.get() + block.used;
    std::memcpy(place, &entry, sizeof(entry));
    std::memcpy(place + sizeof(entry), text.data(), text.size());
    block.used += bytes;
    bytes_ += bytes;
    if (entry.output) {
        output.AddRef();
        lastOutput_ = &output;
    }
}

void LogQueue::WriteAll() {
    Consume([this](vLoggerOutput& output, std::string_view text) {
        try {
            output.Write(line_.assign(text));
        } catch (const std::bad_alloc&) {
            // No memory for this one text: it is lost, the others need not be.
        }
    });
}

void LogQueue::Swap(LogQueue& other) noexcept {
    blocks_.swap(other.blocks_);
    std::swap(filling_, other.filling_);
    std::swap(bytes_, other.bytes_);
    std::swap(lastOutput_, other.lastOutput_);
}

LogQueue::Block& LogQueue::BlockWithRoom(std::size_t bytes) {
    std::size_t index = filling_;
    while (index < blocks_.size() && blocks_[index].capacity - blocks_[index].used < bytes) {
        ++index;
    }
    if (index == blocks_.size()) {
        const std::size_t capacity = std::max(kBlockBytes, bytes);
        std::unique_ptr<char[]> memory(new char[capacity]);
        blocks_.push_back({std::move(memory), capacity, 0});
    }
    filling_ = index;
    return blocks_[index];
}

template <typename Visitor>
void LogQueue::Consume(Visitor visit) {
    for (; takenBlocks_ < blocks_.size(); ++takenBlocks_, takenBytes_ = 0) {
        const Block& block = blocks_[takenBlocks_];
        while (takenBytes_ < block.used) {
            const char* const place = block.memory.get() + takenBytes_;
            Entry entry;
            std::memcpy(&entry, place, sizeof(entry));
            if (entry.output && entry.output != output_) {
                if (output_) {
                    output_->Release();
                }
                output_ = entry.output;
            }
            visit(*output_, std::string_view(place + sizeof(entry), entry.length));
            takenBytes_ += sizeof(entry) + entry.length;
        }
    }
    if (output_) {
        output_->Release();
    }
    Clear();
}

void LogQueue::Clear() {
    std::erase_if(blocks_, [](const Block& block) { return block.capacity > kBlockBytes; });
    blocks_.resize(std::min(blocks_.size(), kKeptBlocks));
    for (Block& block : blocks_) {
        block.used = 0;
    }
    filling_ = 0;
    takenBlocks_ = 0;
    takenBytes_ = 0;
    bytes_ = 0;
    lastOutput_ = nullptr;
    output_ = nullptr;
    if (line_.capacity() > kBlockBytes) {
        line_ = std::string();
    }
}

}  // namespace ZKL
