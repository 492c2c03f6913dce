#include "ZelREKernel/memory/vBestFitAllocator.h"

#include <algorithm>
#include <cmath>
#include <iostream>
#include <locale>
#include <new>
#include <random>
#include <sstream>

#include "bestfit/Model.h"
#include "json/FailingNew.h"

namespace {

using Allocator = ZKL::vBestFitAllocator;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int kSteps = 20000;  // sanitizers make a step ten times as dear
#else
constexpr int kSteps = 250000;
#endif

std::string Text(const Allocator& allocator) {
    std::ostringstream out;
    allocator.Stream(out);
    return out.str();
}

Allocator Read(const std::string& text) {
    std::istringstream in(text);
    Allocator allocator;
    allocator.Unstream(in);
    return allocator;
}

struct Shape {
    const char* name;
    std::uint64_t pageSize;
    double smallest;  // sizes are log-uniform between the two
    double largest;
    std::size_t live;
    unsigned refusals;  // one step in so many changes what the client refuses, 0 for never
};

void PrintTo(const Shape& shape, std::ostream* out) {
    *out << shape.name;
}

class Trace : public testing::TestWithParam<Shape> {
protected:
    // The random number makes the choice, so that a seed gives the same trace everywhere.
    std::uint64_t Below(std::uint64_t n) { return random_() % n; }

    void Start(std::uint32_t seed) {
        random_.seed(seed);
        device_ = std::make_unique<Device>();
        real_ = Allocator(GetParam().pageSize, device_.get());
        model_ = std::make_unique<Model>(GetParam().pageSize, &device_->refuse);
        tags_.clear();
    }

    void AllocOne() {
        const double spread = static_cast<double>(Below(1 << 20)) / (1 << 20);
        const Shape& shape = GetParam();
        const auto size = static_cast<std::uint64_t>(
            shape.smallest * std::pow(shape.largest / shape.smallest, spread));
        const bool defragment = Below(50) == 0;
        const bool dedicated = Below(300) == 0;
        const std::uint64_t tag = nextTag_++;
        const Address expected = model_->Alloc(size, tag, defragment, dedicated);
        const Address address = real_.Alloc(size, tag, defragment, dedicated);
        ASSERT_EQ(address, expected);
        if (!(address == Allocator::kInvalidAlloc)) {
            device_->Fill(tag, {address, size});
            tags_.push_back(tag);
        }
    }
    void FreeSome() {
        const std::size_t pick = Below(tags_.size());
        const Address address = device_->live[tags_[pick]].at;
        // Now and then the neighbours behind it too.
        const auto& starts = model_->pages[address.page].starts;
        unsigned int count = 0;
        const std::uint64_t most = Below(20) == 0 ? 1 + Below(100) : 1;
        for (auto at = starts.find(address.offset); count < most && at->second != Model::kFree;
             ++at, ++count) {
            device_->live.erase(at->second);
        }
        if (count == 1) {
            tags_[pick] = tags_.back();
            tags_.pop_back();
        } else {
            std::erase_if(tags_, [&](std::uint64_t tag) { return !device_->live.contains(tag); });
        }
        model_->Free(address, count);
        real_.Free(address, count);
    }
    void Move() {
        if (Below(2) == 0) {
            model_->Defragment();
            real_.Defragment();
        } else {
            ASSERT_EQ(real_.FreeupPages(), model_->FreeupPages());
        }
        device_->CheckPatterns();
    }
    void Step() {
        const std::size_t live = GetParam().live;
        if (Below(4000) == 0) {
            Move();
        } else if (tags_.empty() || Below(2 * live) >= std::min(tags_.size(), 2 * live - 1)) {
            AllocOne();
        } else {
            FreeSome();
        }
        if (GetParam().refusals != 0 && Below(GetParam().refusals) == 0) {
            device_->refuse = {Below(3) == 0, Below(3) == 0, Below(3) == 0};
        }
    }
    void Check() {
        ASSERT_EQ(device_->log, model_->log);
        device_->log.clear();
        model_->log.clear();
        ASSERT_EQ(real_.GetFreeSize(), model_->freeSize);
        ASSERT_EQ(real_.GetMaxFreeSize(), model_->Largest());
        ASSERT_EQ(real_.GetNumPages(), model_->pages.size());
        ASSERT_EQ(real_.GetNumActivePages(), model_->pages.size() - model_->recycled.size());
    }
    // Everything, and the state goes on as a copy of itself by text, by copy or by move.
    void CheckFully() {
        const std::string text = Text(real_);
        ASSERT_EQ(text, model_->Text());
        ASSERT_TRUE(real_.Validate());
        device_->CheckPatterns();
        const std::uint64_t page = Below(model_->pages.size() + 1);
        std::uint64_t index = 0;
        if (page < model_->pages.size()) {
            ASSERT_EQ(real_.GetPageSize(page), model_->pages[page].size);
            for (const auto& [offset, tag] : model_->pages[page].starts) {
                const Block block = real_.GetBlock(page, index++);
                ASSERT_EQ(std::pair(block.offset, block.userData), std::pair(offset, tag));
            }
        }
        ASSERT_EQ(real_.GetNumBlocks(page), index);
        Allocator other(0, device_.get());
        if (Below(2) == 0) {
            std::istringstream in(text);
            other.Unstream(in);
        } else {
            other = real_;
        }
        real_ = std::move(other);
        ASSERT_EQ(Text(real_), text);
    }

    Allocator real_;
    std::unique_ptr<Device> device_;
    std::unique_ptr<Model> model_;
    std::vector<std::uint64_t> tags_;
    std::uint64_t nextTag_ = 0;

private:
    std::mt19937 random_;
};

TEST_P(Trace, AgreesWithTheModelAfterEveryStep) {
    const std::uint32_t fuzzed = std::random_device()();
    std::cout << "seeds 1 and " << fuzzed << ", " << kSteps << " steps\n";
    for (const std::uint32_t seed : {1U, fuzzed}) {
        Start(seed);
        for (int step = 0; step < kSteps / 2 && !HasFatalFailure(); ++step) {
            Step();
            Check();
            if (step % 10000 == 0) {
                CheckFully();
            }
        }
        // Down to nothing: every page that may goes back.
        device_->refuse = {};
        while (!tags_.empty() && !HasFatalFailure()) {
            FreeSome();
            Check();
        }
        CheckFully();
    }
}

INSTANTIATE_TEST_SUITE_P(vBestFitAllocator, Trace,
                         testing::Values(Shape{"mixed", 65536, 16, 40000, 60, 0},
                                         Shape{"refused", 4096, 1, 4400, 40, 50},
                                         Shape{"many_equal", 65536, 1, 24, 5000, 0},
                                         Shape{"many_pages", 1024, 64, 1024, 1000, 1000}),
                         [](const auto& shape) { return shape.param.name; });

// The text of a page of 1,024 bytes after one allocation of 100.
const char kOneBlock[] =
    "924 1024 1024 18446744073709551615\n1\n924 1024\n3\n0 7\n\n100 18446744073709551615\n\n"
    "1024 18446744073709551615\n\n\n1\n100 924 0\n\n0\n";

TEST(vBestFitAllocator, DoesWithoutAClient) {
    Allocator allocator(1024, nullptr);
    EXPECT_EQ(allocator.Alloc(100, 7, false, false), (Address{0, 0}));
    EXPECT_EQ(Text(allocator), kOneBlock);
    for (const std::uint64_t size : {0U, 1025U, 2048U}) {
        EXPECT_EQ(allocator.Alloc(size, 1, true, false), Allocator::kInvalidAlloc);
    }
    EXPECT_EQ(allocator.Alloc(8, 1, true, true), Allocator::kInvalidAlloc);
    EXPECT_EQ(allocator.Alloc(8, Allocator::kFree, true, false), Allocator::kInvalidAlloc);
    allocator.Defragment();
    EXPECT_EQ(allocator.FreeupPages(), 0U);
    EXPECT_EQ(Text(allocator), kOneBlock);
    EXPECT_EQ(allocator.GetFragmentation(), 0.0F);
    // 100 and 100 bytes free, the end of the page in use.
    EXPECT_EQ(allocator.Alloc(100, 8, false, false), (Address{100, 0}));
    EXPECT_EQ(allocator.Alloc(100, 9, false, false), (Address{200, 0}));
    EXPECT_EQ(allocator.Alloc(724, 10, false, false), (Address{300, 0}));
    EXPECT_EQ(allocator.GetMaxFreeSize(), 0U);
    allocator.Free({200, 0}, 1);
    allocator.Free({0, 0}, 1);
    EXPECT_EQ(allocator.GetFragmentation(), 0.5F);
    EXPECT_EQ(allocator.Alloc(100, 11, false, false), (Address{0, 0}));
    EXPECT_EQ(allocator.GetBlock(0, 5).offset, Allocator::kFree);
    EXPECT_EQ(allocator.GetBlock(1, 0).offset, Allocator::kFree);

    Allocator taken = std::move(allocator);
    Allocator& alias = taken;
    taken = std::move(alias);
    EXPECT_EQ(taken.GetNumPages(), 1U);
    EXPECT_TRUE(taken.Validate());
    // What was moved from begins anew.
    EXPECT_EQ(allocator.GetNumPages(), 0U);  // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(allocator.Alloc(100, 7, false, false), (Address{0, 0}));
    EXPECT_EQ(allocator.GetFreeSize(), 924U);
    EXPECT_TRUE(allocator.Validate());
}

TEST(vBestFitAllocator, ReadsOnlyWholeTextsWhateverTheStreamsSettings) {
    struct Comma : std::numpunct<char> {
        std::string do_grouping() const override { return "\1"; }
    };
    std::stringstream stream;
    stream.imbue(std::locale(std::locale::classic(), new Comma));
    stream << std::hex << std::showbase;
    const Allocator one = Read(kOneBlock);
    one.Stream(stream);
    EXPECT_EQ(stream.str(), kOneBlock);
    stream.imbue(std::locale::classic());
    Allocator other;
    other.Unstream(stream);
    EXPECT_EQ(Text(other), kOneBlock);
    EXPECT_EQ(stream.flags() & std::ios_base::basefield, std::ios_base::hex);
    struct Full : std::streambuf {
    } full;
    std::ostream thrower(&full);
    thrower.exceptions(std::ios_base::badbit);
    EXPECT_THROW(one.Stream(thrower), std::ios_base::failure);

    const std::string text = kOneBlock;
    for (std::size_t length = 0; length + 1 < text.size(); ++length) {
        std::istringstream cut(text.substr(0, length));
        other.Unstream(cut);
        EXPECT_TRUE(cut.fail()) << length;
        EXPECT_EQ(Text(other), kOneBlock);
    }
    for (const char* endless : {"0 0 0 0 18446744073709551615 0 0 0", "0 0 0 0 99999999999 0 0 0",
                                "0 0 0 0 1 0 0 18446744073709551615 0 0"}) {
        std::istringstream in(endless);
        other.Unstream(in);
        EXPECT_TRUE(in.fail());
    }
}

TEST(vBestFitAllocator, KnowsATextThatContradictsItself) {
    // A page of 30: allocated, free, allocated, free; ten bytes each but the last, which has five.
    const std::string page = "4\n0 1\n10 18446744073709551615\n20 3\n25 18446744073709551615\n";
    const struct {
        std::string text;
        bool valid;
        bool works;
    } cases[] = {
        {"10 30 0 9 1 10 25 " + page + "1 10 10 0 0", true, true},
        {"10 30 0 9 2 10 25 " + page + "0 0 0 1 10 10 0 1 1", true, true},
        {"10 30 0 9 1 10 30 " + page + "1 10 10 0 0", false, false},  // sentinel not at the size
        {"10 30 0 9 1 10 25 " + page + "1 10 10 1 0", false, false},  // no such page
        {"10 30 0 9 1 10 25 " + page + "1 11 10 0 0", false, false},  // no such block
        {"10 30 0 9 1 10 25 " + page + "1 20 10 0 0", false, false},  // not free
        {"11 30 0 9 1 10 25 " + page + "1 10 10 0 0", false, false},  // sum
        {"20 30 0 9 1 10 25 " + page + "2 10 11 0 10 9 0 0", false, false},  // sizes fall
        {"0 0 0 9 1 0 0 2 5 18446744073709551615 5 18446744073709551615 0 0", false, false},
        {"0 0 0 9 1 0 5 2 0 1 5 1 0 0", false, false},                 // last entry not free
        {"9 30 0 9 1 10 25 " + page + "1 10 9 0 0", true, false},      // another size in the index
        {"0 30 0 9 1 10 25 " + page + "0 0", true, false},             // not in the index
        {"10 30 0 9 1 9 25 " + page + "1 10 10 0 0", true, false},     // the page's sum
        {"10 30 0 9 1 10 25 " + page + "1 10 10 0 1 0", true, false},  // recycled, not empty
        {"10 30 0 9 1 10 25 " + page + "1 10 10 0 1 7", true, false},  // recycled, does not exist
        {"10 30 0 9 2 10 25 " + page + "0 0 0 1 10 10 0 2 1 1", true, false},  // recycled twice
        {"10 30 0 9 1 10 25 " + page + "2 10 10 0 10 0 0 0", false, false},
        {"20 30 0 9 1 20 25 4 0 1 5 18446744073709551615 15 18446744073709551615 25 "
         "18446744073709551615 2 5 10 0 15 10 0 0",
         true, false},  // free blocks side by side
    };
    for (const auto& c : cases) {
        Allocator allocator = Read(c.text);
        EXPECT_EQ(allocator.Validate(), c.valid) << c.text;
        std::istringstream streamed(Text(allocator));
        std::istringstream given(c.text);
        for (std::string a, b; given >> a;) {
            streamed >> b;
            EXPECT_EQ(a, b) << c.text;
        }
        Device device;
        allocator.Initialize(30, &device);
        EXPECT_EQ(allocator.Alloc(4, 5, true, false),
                  (c.works ? Address{10, 0} : Address{~0ULL, ~0ULL}));
        if (!c.works) {
            allocator.Free({1000, 1000}, 1);
            allocator.Defragment();
            EXPECT_EQ(allocator.FreeupPages(), 0U);
            EXPECT_EQ(device.log, "");
        }
    }
}

// A client that allocates nothing itself.
class Willing final : public Allocator::vMemoryManager {
public:
    bool AllocateLargePage(const Address&, std::uint64_t, std::uint64_t) override { return true; }
    bool AllocatePage(std::uint64_t, std::uint64_t) override { return ++calls != 0; }
    bool ReleasePage(std::uint64_t, std::uint64_t) override { return true; }
    bool BeginDefragment(std::uint64_t) override { return ++calls != 0; }
    void MoveBlocks(const Address&, const Address&, std::uint64_t, const Block*,
                    std::uint32_t) override {
        ++calls;
    }
    void EndDefragment() override { ++calls; }

    int calls = 0;
};

// Each operation with memory that ends after 0, 1, 2 ... blocks, until it succeeds: before that it
// fails as stated and the state is what it was.
TEST(vBestFitAllocator, SurvivesWithoutMemoryForItsBooks) {
    Allocator probe(64, nullptr);
    {
        const test::FailingNew none(0);
        probe.Alloc(8, 1, false, false);
    }
    if (probe.GetNumPages() != 0) {
        std::cout << "skipped: operator new of this program does not reach the library\n";
        return;
    }
    using Operation = bool (*)(Allocator&, Willing&);  // whether it succeeded
    const Operation operations[] = {
        [](Allocator& a, Willing&) {
            return !(a.Alloc(5, 9, false, false) == Allocator::kInvalidAlloc);
        },
        [](Allocator& a, Willing&) {
            return !(a.Alloc(65536, 9, true, false) == Allocator::kInvalidAlloc);
        },
        [](Allocator& a, Willing&) {
            return !(a.Alloc(9, 9, false, true) == Allocator::kInvalidAlloc);
        },
        [](Allocator& a, Willing&) { return Text(Allocator(a)) == Text(a); },
        [](Allocator& a, Willing& client) { return a.Defragment(), client.calls != 0; },
        [](Allocator& a, Willing&) { return a.FreeupPages() != 0; },
        [](Allocator& a, Willing&) {
            // One hole of a size of its own after the other, until that takes memory.
            for (std::uint64_t at = 0; at < 19000; at += 1400) {
                a.Free({at, 0}, static_cast<unsigned>(at / 1400 % 7 + 1));
            }
            return true;
        }};
    for (const Operation& operation : operations) {
        Willing client;
        Allocator allocator(65536, &client);
        for (std::uint64_t i = 0; i < 1100; ++i) {
            allocator.Alloc(100, i, false, false);
        }
        // Holes for single blocks in the first page, single blocks in the second.
        allocator.Free({0, 1}, 47);
        for (std::uint64_t i = 702; i < 1100; i += 2) {
            allocator.Free({(i - 655) * 100, 1}, 1);
            allocator.Free({(i - 500) * 100, 0}, 1);
        }
        bool succeeded = false;
        for (std::size_t after = 0; !succeeded; ++after) {
            ASSERT_LT(after, 1000U);
            Allocator tried = allocator;
            std::string before = Text(tried);
            client.calls = 0;
            try {
                const test::FailingNew failing(after);
                succeeded = operation(tried, client);
            } catch (const std::bad_alloc&) {
                before = Text(tried);  // of several Frees some went well
            }
            ASSERT_TRUE(tried.Validate());
            if (!succeeded) {
                ASSERT_EQ(Text(tried), before);
                ASSERT_LE(client.calls, 1);  // FreeupPages asks before it knows what it needs
            }
        }
    }
}

}  // namespace
