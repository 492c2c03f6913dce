#include "Picture.h"

#include <algorithm>
#include <ostream>
#include <string>

namespace {

using Allocator = ZKL::vBestFitAllocator;

// Calls action(offset, size, tag) for every block of a page.
template <class Action>
void ForEachBlock(const Allocator& allocator, std::uint64_t page, const Action& action) {
    for (std::uint64_t i = 1; i < allocator.GetNumBlocks(page); ++i) {
        const Allocator::Block block = allocator.GetBlock(page, i - 1);
        action(block.offset, allocator.GetBlock(page, i).offset - block.offset, block.userData);
    }
}

void DumpPage(std::ostream& out, const Allocator& allocator, std::uint64_t page) {
    constexpr std::uint64_t kCells = 64;
    const std::uint64_t size = allocator.GetPageSize(page);
    out << "page " << page << ": ";
    if (size == 0) {
        out << "not in use\n";
        return;
    }
    std::string bar(kCells, ' ');
    std::uint64_t free = 0;
    std::uint64_t largest = 0;
    ForEachBlock(allocator, page, [&](std::uint64_t at, std::uint64_t bytes, std::uint64_t tag) {
        const bool isFree = tag == Allocator::kFree;
        free += isFree ? bytes : 0;
        largest = std::max(largest, isFree ? bytes : 0);
        const auto cell = [&](std::uint64_t offset) {
            return static_cast<std::size_t>(static_cast<double>(offset) /
                                            static_cast<double>(size) * kCells);
        };
        for (std::size_t i = cell(at); i <= cell(at + bytes - 1) && i < kCells; ++i) {
            const char c = isFree ? '.' : '#';
            bar[i] = bar[i] == ' ' || bar[i] == c ? c : '+';
        }
    });
    out << size << " bytes, " << free << " free, the largest block " << largest << ", "
        << allocator.GetNumBlocks(page) - 1 << " blocks\n  [" << bar << "]\n";
}

class Svg {
public:
    explicit Svg(std::ostream& out, double height) : out_(out) {
        out_ << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" << kWidth + 2 * kLeft
             << "\" height=\"" << height
             << "\" font-family=\"sans-serif\" font-size=\"11\">\n"
                "<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n";
    }
    ~Svg() { out_ << "</svg>\n"; }
    Svg(const Svg&) = delete;
    Svg& operator=(const Svg&) = delete;

    void Text(double x, double y, const std::string& text) {
        out_ << "<text x=\"" << x << "\" y=\"" << y << "\">" << text << "</text>\n";
    }
    void Rect(double x, double y, double width, double height, const char* fill) {
        out_ << "<rect x=\"" << x << "\" y=\"" << y << "\" width=\"" << width << "\" height=\""
             << height << "\" fill=\"" << fill << "\"/>\n";
    }
    void Line(const std::vector<float>& values, double y, double height) {
        out_ << "<polyline fill=\"none\" stroke=\"#b03a2e\" stroke-width=\"1.5\" points=\"";
        const double step =
            kWidth / static_cast<double>(std::max<std::size_t>(values.size(), 2) - 1);
        for (std::size_t i = 0; i < values.size(); ++i) {
            const auto x = kLeft + static_cast<double>(i) * step;
            out_ << x << ',' << y + height * (1 - static_cast<double>(values[i])) << ' ';
        }
        out_ << "\"/>\n";
    }

    static constexpr double kLeft = 60;
    static constexpr double kWidth = 800;

private:
    std::ostream& out_;
};

}  // namespace

void Dump(std::ostream& out, const Allocator& allocator) {
    out << allocator.GetNumActivePages() << " of " << allocator.GetNumPages() << " pages in use, "
        << allocator.GetFreeSize() << " bytes free, the largest block "
        << allocator.GetMaxFreeSize() << ", fragmentation " << allocator.GetFragmentation() << "\n";
    for (std::uint64_t page = 0; page < allocator.GetNumPages(); ++page) {
        DumpPage(out, allocator, page);
    }
}

void Draw(std::ostream& out, const Allocator& last, const std::vector<float>& fragmentation) {
    constexpr double kRow = 24;
    constexpr double kPlot = 120;
    // Allocated blocks take turns in two colours, so that neighbours can be told apart.
    constexpr const char* kUsed[] = {"#2e6da4", "#5b9bd5"};
    const double below = 30 + kRow * static_cast<double>(last.GetNumPages());
    Svg svg(out, below + kPlot + 40);
    svg.Text(Svg::kLeft, 18, "Blocks by address: blue is allocated, grey is free");
    for (std::uint64_t page = 0; page < last.GetNumPages(); ++page) {
        const double y = 26 + kRow * static_cast<double>(page);
        svg.Text(8, y + 14, "page " + std::to_string(page));
        const double scale = Svg::kWidth / static_cast<double>(last.GetPageSize(page));
        unsigned turn = 0;
        ForEachBlock(last, page, [&](std::uint64_t at, std::uint64_t size, std::uint64_t tag) {
            svg.Rect(Svg::kLeft + static_cast<double>(at) * scale, y,
                     static_cast<double>(size) * scale, kRow - 6,
                     tag == Allocator::kFree ? "#d9d9d9" : kUsed[++turn % 2]);
        });
    }
    svg.Text(Svg::kLeft, below + 16, "Fragmentation over time, 0 to 1");
    svg.Rect(Svg::kLeft, below + 24, Svg::kWidth, kPlot, "#f4f4f4");
    svg.Line(fragmentation, below + 24, kPlot);
}
