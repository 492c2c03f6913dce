#include "json/JSONStrictParser.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <string_view>

#include "json/JSONContainer.h"
#include "json/JSONNumber.h"
#include "json/JSONObjectBuilder.h"
#include "json/JSONStringReader.h"
#include "json/JSONTree.h"

namespace ZelJSON {
namespace {

// What is open lies on a stack of cells: for each container a cell that will become its value (its
// aux word meanwhile holds where the enclosing container's cell is), then its elements, or its
// names and values in turn. At the closing bracket the cells become a run of exactly their size.
class StrictParser {
public:
    explicit StrictParser(const std::string& document)
        : last_(document.data() + document.size()), blocks_(3 * document.size()), strings_(last_) {}
    StrictParser(const StrictParser&) = delete;
    StrictParser& operator=(const StrictParser&) = delete;
    ~StrictParser();

    bool Run(const char* p, ZelJSONSlot& root);

private:
    static constexpr std::uint32_t kFirstCells = 128;
    // Cells that fit behind the limit: a name, its value, and the first element of that.
    static constexpr std::uint32_t kReserve = 3;
    // An array that fills the stack with this many elements moves them to its own memory.
    static constexpr std::ptrdiff_t kFlushed = 4096;

    ZelJSONSlot* FirstCells() noexcept { return reinterpret_cast<ZelJSONSlot*>(firstCells_); }

    const char* ReadWord(const char* p, ZelJSONSlot& slot) const noexcept;
    const char* ReadNumber(const char* p, ZelJSONSlot& slot) const noexcept;
    const char* ReadReal(const char* start, const char* p, std::uint64_t digits, int count,
                         ZelJSONSlot& slot) const noexcept;
    const char* ReadOddNumber(const char* start, const char* end, ZelJSONSlot& slot) const noexcept;

    void Grow();
    bool Enter(Type type) noexcept;
    void Leave() noexcept;
    void CloseArray();
    void CloseObject();

    const char* const last_;
    ZelJSONSlot* cells_ = FirstCells();
    ZelJSONSlot* limit_ = cells_ + kFirstCells - kReserve;
    ZelJSONSlot* top_ = cells_;
    ZelJSONSlot* open_ = nullptr;  // the innermost container's cell
    std::uint32_t depth_ = 0;
    BlockWriter blocks_;
    StringReader strings_;
    ObjectBuilder objects_;
    alignas(16) char firstCells_[kFirstCells * sizeof(ZelJSONSlot)];
};

inline bool IsDigit(char c) noexcept {
    return static_cast<unsigned char>(c - '0') <= 9;
}

// Space, tab, line feed, carriage return.
inline bool IsBlank(char c) noexcept {
    return c == ' ' || c == '\n' || c == '\r' || c == '\t';
}

inline const char* SkipBlanks(const char* p, const char* last) noexcept {
    if (*p > ' ') {
        return p;
    }
    if (*p == ' ' && p[1] > ' ') {
        return p + 1;
    }
    // Indentation: blanks are what is left of sixteen bytes.
    for (; last - p >= 16; p += 16) {
        const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
        const __m128i space = _mm_cmpeq_epi8(bytes, _mm_set1_epi8(' '));
        const __m128i line = _mm_cmpeq_epi8(bytes, _mm_set1_epi8('\n'));
        const __m128i carriage = _mm_cmpeq_epi8(bytes, _mm_set1_epi8('\r'));
        const __m128i tab = _mm_cmpeq_epi8(bytes, _mm_set1_epi8('\t'));
        const auto blanks = static_cast<unsigned>(_mm_movemask_epi8(
            _mm_or_si128(_mm_or_si128(space, line), _mm_or_si128(carriage, tab))));
        if (blanks != 0xFFFF) {
            return p + std::countr_one(blanks);
        }
    }
    while (IsBlank(*p)) {
        ++p;
    }
    return p;
}

// The number of digits at `p`, eight at a time; appends them to `digits`. Documents have numbers of
// all lengths, and a loop that ends at a length nobody foresaw costs more than the digits do.
inline const char* ReadDigits(const char* p, const char* last, std::uint64_t& digits) noexcept {
    static constexpr std::uint64_t kPowers[] = {1,      10,      100,      1000,     10000,
                                                100000, 1000000, 10000000, 100000000};
    while (last - p >= 8) {
        std::uint64_t text;
        std::memcpy(&text, p, sizeof text);
        text ^= 0x3030303030303030u;
        // The top bit of each byte that is no digit; above the first of them it may lie.
        const std::uint64_t others = ((text + 0x7676767676767676u) | text) & 0x8080808080808080u;
        const auto count = static_cast<unsigned>(std::countr_zero(others)) / 8;
        if (count == 0) {
            return p;
        }
        // Missing digits become zeros in front; then pairs, fours, all eight.
        text <<= 64 - 8 * count;
        text = text * 10 + (text >> 8);
        constexpr std::uint64_t kMask = 0x000000FF000000FFu;
        constexpr std::uint64_t kFirst = 0x000F424000000064u;   // 100 + (1000000 << 32)
        constexpr std::uint64_t kSecond = 0x0000271000000001u;  // 1 + (10000 << 32)
        digits = digits * kPowers[count] +
                 static_cast<std::uint32_t>(
                     ((text & kMask) * kFirst + (text >> 16 & kMask) * kSecond) >> 32);
        p += count;
        if (count < 8) {
            return p;
        }
    }
    for (; IsDigit(*p); ++p) {
        digits = digits * 10 + static_cast<std::uint64_t>(*p - '0');
    }
    return p;
}

StrictParser::~StrictParser() {
    // An exception or a doubt left cells behind. A name never looks like a value that owns
    // anything.
    for (ZelJSONSlot* cell = cells_; cell != top_; ++cell) {
        ReleaseContents(*cell);
    }
    if (cells_ != FirstCells()) {
        Free(cells_);
    }
}

const char* StrictParser::ReadWord(const char* p, ZelJSONSlot& slot) const noexcept {
    const auto matches = [&](std::string_view word) {
        return static_cast<std::size_t>(last_ - p) >= word.size() &&
               std::memcmp(p, word.data(), word.size()) == 0;
    };
    if (matches("true")) {
        StoreSlot(slot, 1, kBoolean);
        return p + 4;
    }
    if (matches("null")) {
        StoreSlot(slot, 0, kNull);
        return p + 4;
    }
    if (matches("false")) {
        StoreSlot(slot, 0, kBoolean);
        return p + 5;
    }
    for (const std::string_view number : {"NaN", "Infinity", "-Infinity"}) {
        if (matches(number)) {
            const char* const end = p + number.size();
            return DecodeInteger(p, end, slot) == NumberText::eDecoded ? end : nullptr;
        }
    }
    return nullptr;
}

// A number of the grammar that nothing follows which the reader would count as part of it.
inline const char* StrictParser::ReadNumber(const char* p, ZelJSONSlot& slot) const noexcept {
    const char* const start = p;
    const bool negative = *p == '-';
    p += negative ? 1 : 0;
    const char* const first = p;
    std::uint64_t digits = 0;
    // A single digit is so common before a point that guessing it right pays.
    if (IsDigit(*p) && !IsDigit(p[1])) {
        digits = static_cast<std::uint64_t>(*p++ - '0');
    } else {
        p = ReadDigits(p, last_, digits);
    }
    const auto count = p - first;
    if (count == 0 || (*first == '0' && count > 1)) {
        return count == 0 && negative ? ReadWord(start, slot) : nullptr;
    }
    if (*p == '.' || *p == 'e' || *p == 'E') {
        return ReadReal(start, p, digits, static_cast<int>(std::min<std::ptrdiff_t>(count, 20)),
                        slot);
    }
    if (*p == '+' || *p == '-' || *p == 'I') {
        return nullptr;
    }
    if (count > 19 || (negative && digits > std::uint64_t{1} << 63)) {
        return ReadOddNumber(start, p, slot);
    }
    SetInteger(slot, digits, negative);
    return p;
}

// The fraction and exponent at `p`; `digits` are the `count` digits before it.
inline const char* StrictParser::ReadReal(const char* start, const char* p, std::uint64_t digits,
                                          int count, ZelJSONSlot& slot) const noexcept {
    int exponent = 0;
    if (*p == '.') {
        const char* const fraction = ++p;
        if (count == 1 && digits == 0) {  // with more of them it may have run over to 0
            count = 0;
            while (*p == '0') {
                ++p;
            }
        }
        const char* const significant = p;
        p = ReadDigits(p, last_, digits);
        if (p == fraction) {
            return nullptr;
        }
        count += static_cast<int>(std::min<std::ptrdiff_t>(p - significant, 20));
        exponent = -static_cast<int>(std::min<std::ptrdiff_t>(p - fraction, 100000));
    }
    if (*p == 'e' || *p == 'E') {
        ++p;
        const bool down = *p == '-';
        p += *p == '-' || *p == '+' ? 1 : 0;
        if (!IsDigit(*p)) {
            return nullptr;
        }
        int power = 0;
        for (; IsDigit(*p); ++p) {
            power = std::min(power * 10 + (*p - '0'), 100000);
        }
        exponent += down ? -power : power;
    }
    if (*p == '.' || *p == '+' || *p == '-' || *p == 'e' || *p == 'E') {
        return nullptr;
    }
    double value;
    if (count > 19 || !QuickDouble(digits, exponent, value)) {
        return ReadOddNumber(start, p, slot);
    }
    const std::uint64_t sign = std::uint64_t{*start == '-'} << 63;
    SetDouble(slot, std::bit_cast<double>(std::bit_cast<std::uint64_t>(value) | sign));
    return p;
}

// Too many digits, or too large an exponent, for the quick ways.
const char* StrictParser::ReadOddNumber(const char* start, const char* end,
                                        ZelJSONSlot& slot) const noexcept {
    if (DecodeInteger(start, end, slot) == NumberText::eDecoded) {
        return end;
    }
    double value;
    if (!ReadDouble(start, end, value)) {
        return nullptr;
    }
    SetDouble(slot, value);
    return end;
}

void StrictParser::Grow() {
    if (open_ != nullptr && open_->type == kArray && top_ - open_ > kFlushed) {
        AppendElements(*open_, open_ + 1, static_cast<std::uint32_t>(top_ - open_ - 1));
        top_ = open_ + 1;
        return;
    }
    const auto used = static_cast<std::size_t>(top_ - cells_);
    const std::size_t capacity = 2 * (static_cast<std::size_t>(limit_ - cells_) + kReserve);
    auto* const cells = static_cast<ZelJSONSlot*>(Allocate(capacity * sizeof(ZelJSONSlot)));
    std::memcpy(static_cast<void*>(cells), cells_, used * sizeof(ZelJSONSlot));
    if (open_ != nullptr) {
        open_ = cells + (open_ - cells_);
    }
    if (cells_ != FirstCells()) {
        Free(cells_);
    }
    cells_ = cells;
    limit_ = cells + capacity - kReserve;
    top_ = cells + used;
}

inline bool StrictParser::Enter(Type type) noexcept {
    if (depth_ == kDeepestNesting) {
        return false;
    }
    ++depth_;
    top_->payload.container = nullptr;
    top_->aux = open_ != nullptr ? static_cast<std::uint32_t>(open_ - cells_) : 0;
    top_->type = type;
    open_ = top_++;
    return true;
}

// The innermost container's cell has become a value.
inline void StrictParser::Leave() noexcept {
    top_ = open_ + 1;
    --depth_;
    const std::uint32_t outer = open_->aux;
    open_->aux = 0;
    open_ = depth_ != 0 ? cells_ + outer : nullptr;
}

inline void StrictParser::CloseArray() {
    const auto count = static_cast<std::uint32_t>(top_ - open_ - 1);
    if (open_->payload.container != nullptr || count > kLongestRun) {
        AppendElements(*open_, open_ + 1, count);
    } else if (count != 0) {
        Container* const array = NewContainer(count * sizeof(ZelJSONSlot), 0, blocks_);
        array->count = count;
        array->capacity = static_cast<std::uint16_t>(count);
        ZelJSONSlot* const to = array->Slots();
        bool owns = false;
        for (std::uint32_t i = 0; i < count; ++i) {
            const ZelJSONSlot& slot = open_[1 + i];
            owns |= slot.type >= kArray || (slot.type == kString && !IsInline(slot));
            to[i] = slot;
        }
        array->flags |= owns ? 0 : Container::kPlain;
        open_->payload.container = array;
    }
    Leave();
}

inline void StrictParser::CloseObject() {
    const auto count = static_cast<std::uint32_t>((top_ - open_ - 1) / 2);
    if (count != 0) {
        open_->payload.container =
            objects_.Build(reinterpret_cast<Cell*>(open_ + 1), count, blocks_);
    }
    Leave();
}

bool StrictParser::Run(const char* p, ZelJSONSlot& root) {
value:
    p = SkipBlanks(p, last_);
    switch (*p) {
        case '{':
            if (!Enter(kObject)) {
                return false;
            }
            p = SkipBlanks(p + 1, last_);
            if (*p == '}') {
                ++p;
                CloseObject();
                goto done;
            }
            goto name;
        case '[':
            if (!Enter(kArray)) {
                return false;
            }
            p = SkipBlanks(p + 1, last_);
            if (*p == ']') {
                ++p;
                CloseArray();
                goto done;
            }
            goto element;
        case '"':
            p = strings_.ReadValue(p + 1, *top_, blocks_);
            break;
        case '-':
        case '0':
        case '1':
        case '2':
        case '3':
        case '4':
        case '5':
        case '6':
        case '7':
        case '8':
        case '9':
            p = ReadNumber(p, *top_);
            break;
        default:
            p = ReadWord(p, *top_);
    }
    if (p == nullptr) {
        return false;
    }
    ++top_;
done:
    if (open_ == nullptr) {
        root = *--top_;
        return true;
    }
    p = SkipBlanks(p, last_);
    if (open_->type == kArray) {
        if (*p == ',') {
            ++p;
            goto element;
        }
        if (*p != ']') {
            return false;
        }
        ++p;
        CloseArray();
        goto done;
    }
    if (*p == '}') {
        ++p;
        CloseObject();
        goto done;
    }
    if (*p != ',') {
        return false;
    }
    p = SkipBlanks(p + 1, last_);
name:
    if (*p != '"') {
        return false;
    }
    if (top_ >= limit_) {
        Grow();
    }
    p = strings_.ReadName(p + 1, *reinterpret_cast<Key*>(top_));
    if (p == nullptr) {
        return false;
    }
    ++top_;
    p = SkipBlanks(p, last_);
    if (*p++ != ':') {
        return false;
    }
    goto value;
element:
    if (top_ >= limit_) {
        Grow();
    }
    p = SkipBlanks(p, last_);
    if (*p > '9' || *p == '"') {
        goto value;
    }
    // Numbers come in rows: round the shortest loop as long as they do.
    p = ReadNumber(p, *top_);
    if (p == nullptr) {
        return false;
    }
    ++top_;
    if (*p == ',') {
        ++p;
        goto element;
    }
    goto done;
}

}  // namespace

bool ParseStrictly(const std::string& document, ZelJSONSlot& root) {
    return StrictParser(document).Run(document.c_str(), root);
}

}  // namespace ZelJSON
