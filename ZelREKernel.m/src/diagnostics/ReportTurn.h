#pragma once

// One report at a time: reports share files, stacks and the system's debug library.

#include <cstdint>

namespace ZKL {

// The turn of the calling thread, while it lives. Safe in a signal handler.
class ReportTurn {
public:
    // Waits while another thread has its turn.
    ReportTurn();
    ~ReportTurn();
    ReportTurn(const ReportTurn&) = delete;
    ReportTurn& operator=(const ReportTurn&) = delete;

    // False on a thread that had its turn already: a fault in the report itself, which nothing is
    // to be done about.
    bool IsOurs() const { return ours_; }
    // True on a thread that had let its turn lapse: in code of the host's that it called then, or
    // after that code has jumped away.
    bool IsTakenAnew() const { return ours_ && before_ != 0; }

    // On a thread that works for the one that waits here with its turn, and on that one afterwards.
    static void PassToThisThread();
    void TakeBack();

    // Before code of the host's is called, which may make a report itself, jump away or never end:
    // the others wait for a while only.
    void LetLapse();
    // The process is likely to end; if it does not, the turn lapses.
    void KeepForAWhile();
    // The process is about to end: a report begun now would be cut off, and its dump would take the
    // place of ours.
    void KeepToTheEnd();

private:
    void Change(std::uint64_t turn);

    std::uint64_t before_;  // what stands again afterwards
    std::uint64_t turn_;    // what stands now
    bool ours_;
};

// The system's. The number of the calling thread, never 0.
std::uint32_t ThreadNumber();
// The system's. Lets a millisecond pass.
void PauseShortly();

}  // namespace ZKL
