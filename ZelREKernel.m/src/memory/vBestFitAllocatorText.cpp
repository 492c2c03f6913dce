// The text stream of vBestFitAllocator, and the checks of what a text may claim.

#include <algorithm>
#include <charconv>
#include <istream>
#include <new>
#include <ostream>
#include <string_view>
#include <utility>

#include "memory/vBestFitAllocator.h"

namespace ZKL {
namespace {

// Numbers as digits whatever the stream's flags and locale say. Flush writes what is left: a
// destructor must not, since a stream may be told to throw.
class Writer {
public:
    explicit Writer(std::ostream& stream) : stream_(stream) {}
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;

    void Put(std::uint64_t number, std::string_view behind) {
        if (sizeof(text_) - used_ < kDigits) {
            Flush();
        }
        char* const end = std::to_chars(text_ + used_, text_ + sizeof(text_), number).ptr;
        used_ = static_cast<std::size_t>(end - text_);
        for (const char c : behind) {
            Put(c);
        }
    }
    void Put(char c) {
        if (used_ == sizeof(text_)) {
            Flush();
        }
        text_[used_++] = c;
    }
    void Flush() { stream_.write(text_, static_cast<std::streamsize>(std::exchange(used_, 0))); }

private:
    static constexpr std::size_t kDigits = 20;  // of the largest number

    std::ostream& stream_;
    std::size_t used_ = 0;
    char text_[4096];
};

// Decimal numbers between white space, whatever the stream's flags say.
class Reader {
public:
    explicit Reader(std::istream& stream)
        : stream_(stream),
          flags_(stream.setf(std::ios_base::dec | std::ios_base::skipws,
                             std::ios_base::basefield | std::ios_base::skipws)) {}
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;
    ~Reader() { stream_.flags(flags_); }

    template <class... Numbers>
    bool Get(Numbers&... numbers) {
        return static_cast<bool>((stream_ >> ... >> numbers));
    }

private:
    std::istream& stream_;
    std::ios_base::fmtflags flags_;
};

}  // namespace

void vBestFitAllocator::Stream(std::ostream& stream) const {
    Writer out(stream);
    out.Put(freeSize_, " ");
    out.Put(pageSize_, " ");
    out.Put(maxPageFreeSize_, " ");
    out.Put(maxPageFreeIndex_, "\n");
    out.Put(pages_.size(), "\n");
    for (const Page& page : pages_) {
        out.Put(page.freeSize, " ");
        out.Put(page.size, "\n");
        out.Put(page.blocks.Size(), "\n");
        for (const Block& block : page.blocks) {
            out.Put(block.offset, " ");
            out.Put(block.userData, "\n\n");
        }
        out.Put('\n');
    }
    out.Put(freeBlocks_ != nullptr ? freeBlocks_->Count() : 0, "\n");
    if (freeBlocks_ != nullptr) {
        freeBlocks_->ForEach([&](const FreeBlock& block) {
            out.Put(block.offset, " ");
            out.Put(block.size, " ");
            out.Put(block.page, "\n\n");
        });
    }
    out.Put(recycledPages_.size(), "\n");
    for (const std::uint64_t page : recycledPages_) {
        out.Put(page, "\n");
    }
    out.Flush();
}

// The counts are not believed: memory grows with what is read.
void vBestFitAllocator::Unstream(std::istream& stream) {
    Reader in(stream);
    vBestFitAllocator read(0, memoryManager_);
    std::uint64_t count = 0;
    if (!read.ReserveNodes(0)) {
        throw std::bad_alloc();
    }
    in.Get(read.freeSize_, read.pageSize_, read.maxPageFreeSize_, read.maxPageFreeIndex_, count);
    std::vector<Block> blocks;
    for (; stream && count != 0; --count) {
        Page& page = read.pages_.emplace_back();
        std::uint64_t entries = 0;
        in.Get(page.freeSize, page.size, entries);
        blocks.clear();
        for (Block block{}; stream && entries != 0; --entries) {
            in.Get(block.offset, block.userData);
            blocks.push_back(block);
        }
        if (!read.pool_->Reserve(Page::List::NodesFor(blocks.size()))) {
            throw std::bad_alloc();
        }
        page.blocks.Build(blocks.begin(), blocks.size(), *read.pool_);
    }
    std::vector<FreeBlock> freeBlocks;
    in.Get(count);
    for (FreeBlock block{}; stream && count != 0; --count) {
        in.Get(block.offset, block.size, block.page);
        freeBlocks.push_back(block);
    }
    in.Get(count);
    for (std::uint64_t page = 0; stream && count != 0; --count) {
        in.Get(page);
        read.recycledPages_.push_back(page);
    }
    if (!stream) {
        return;
    }
    if (!read.freeBlocks_->Load(freeBlocks, *read.pool_)) {
        throw std::bad_alloc();
    }
    read.contradictory_ = !read.IsConsistent();
    *this = std::move(read);
}

bool vBestFitAllocator::Validate() const {
    std::uint64_t size = 0;
    std::uint64_t sum = 0;
    bool valid = true;
    const auto check = [&](const FreeBlock& block) {
        Page::List::Place at;
        valid = valid && block.size >= size && block.page < pages_.size() &&
                pages_[block.page].blocks.Find(block.offset, at) && at->userData == kFree;
        size = block.size;
        sum += block.size;
    };
    if (freeBlocks_ != nullptr) {
        freeBlocks_->ForEach(check);
    }
    return valid && sum == freeSize_ &&
           std::all_of(pages_.begin(), pages_.end(),
                       [](const Page& page) { return page.blocks.Empty() || ListIsValid(page); });
}

// Offsets strictly increase, and the last entry is free and sits at the page's size.
bool vBestFitAllocator::ListIsValid(const Page& page) {
    auto block = page.blocks.begin();
    std::uint64_t offset = block->offset;
    while (++block != page.blocks.end()) {
        if (block->offset <= offset) {
            return false;
        }
        offset = block->offset;
    }
    return offset == page.size && page.blocks.Last().userData == kFree;
}

// What the operations rely on beyond Validate: the free blocks of the lists and the entries of the
// index are the same ones, no two of them touch, each page's sum is right, and the recycled pages
// are distinct empty ones.
bool vBestFitAllocator::IsConsistent() const {
    if (!Validate()) {
        return false;
    }
    std::uint64_t found = 0;
    for (std::uint64_t i = 0; i < pages_.size(); ++i) {
        const Page& page = pages_[i];
        std::uint64_t sum = 0;
        bool afterFree = false;
        if (page.blocks.Empty() ? page.size != 0 : page.size == 0) {
            return false;
        }
        for (auto block = page.blocks.begin(); block != page.blocks.end();) {
            const Block from = *block;
            if (++block == page.blocks.end()) {
                break;
            }
            const bool isFree = from.userData == kFree;
            if (isFree) {
                FreePlace place;
                const FreeBlock entry{block->offset - from.offset, from.offset, i};
                if (afterFree || !FreeLookup(entry, place)) {
                    return false;
                }
                sum += entry.size;
                ++found;
            }
            afterFree = isFree;
        }
        if (sum != page.freeSize) {
            return false;
        }
    }
    std::vector<std::uint64_t> recycled = recycledPages_;
    std::sort(recycled.begin(), recycled.end());
    return found == freeBlocks_->Count() &&
           std::adjacent_find(recycled.begin(), recycled.end()) == recycled.end() &&
           std::all_of(recycled.begin(), recycled.end(), [&](std::uint64_t page) {
               return page < pages_.size() && pages_[page].blocks.Empty();
           });
}

}  // namespace ZKL
