#include "diagnostics/ReportTurn.h"

#include <atomic>
#include <chrono>

namespace ZKL {
namespace {

// A turn is the thread that has it, in the upper half, and since when it has been lapsing, in
// seconds of a clock that only rises; or one of these.
constexpr std::uint32_t kReporting = 0;
constexpr std::uint32_t kToTheEnd = 0xFFFFFFFF;
constexpr std::uint32_t kLapsesAfterSeconds = 5;

// 0 for nobody's.
std::atomic<std::uint64_t> s_turn{0};

std::uint64_t TurnOf(std::uint32_t thread, std::uint32_t since) {
    return std::uint64_t{thread} << 32 | since;
}

std::uint32_t ThreadOf(std::uint64_t turn) {
    return static_cast<std::uint32_t>(turn >> 32);
}

std::uint32_t SinceOf(std::uint64_t turn) {
    return static_cast<std::uint32_t>(turn);
}

bool IsLapsing(std::uint64_t turn) {
    return SinceOf(turn) != kReporting && SinceOf(turn) != kToTheEnd;
}

// Neither of the numbers that mean something else.
std::uint32_t NowSeconds() {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return 1 + static_cast<std::uint32_t>(
                   std::chrono::duration_cast<std::chrono::seconds>(now).count() & 0x7FFFFFFF);
}

bool HasLapsed(std::uint64_t turn) {
    return turn == 0 || (IsLapsing(turn) && NowSeconds() - SinceOf(turn) > kLapsesAfterSeconds);
}

}  // namespace

ReportTurn::ReportTurn() : before_(s_turn.load()) {
    const std::uint32_t self = ThreadNumber();
    turn_ = TurnOf(self, kReporting);
    for (;;) {
        if (ThreadOf(before_) == self && !IsLapsing(before_)) {
            turn_ = before_;
            ours_ = false;
            return;
        }
        const bool free = ThreadOf(before_) == self || HasLapsed(before_);
        if (free && s_turn.compare_exchange_strong(before_, turn_)) {
            break;
        }
        if (!free) {
            PauseShortly();
            before_ = s_turn.load();
        }
    }
    // What lapsed on another thread is over.
    before_ = ThreadOf(before_) == self ? before_ : 0;
    ours_ = true;
}

ReportTurn::~ReportTurn() {
    Change(before_);
}

// Of a turn that lapsed nothing is left to change: another thread may have its own by now.
void ReportTurn::Change(std::uint64_t turn) {
    std::uint64_t expected = turn_;
    if (s_turn.compare_exchange_strong(expected, turn)) {
        turn_ = turn;
    }
}

void ReportTurn::PassToThisThread() {
    s_turn.store(TurnOf(ThreadNumber(), kReporting));
}

void ReportTurn::TakeBack() {
    s_turn.store(turn_);
}

void ReportTurn::LetLapse() {
    Change(TurnOf(ThreadOf(turn_), NowSeconds()));
}

void ReportTurn::KeepForAWhile() {
    LetLapse();
    before_ = turn_;
}

void ReportTurn::KeepToTheEnd() {
    Change(TurnOf(ThreadOf(turn_), kToTheEnd));
    before_ = turn_;
}

}  // namespace ZKL
