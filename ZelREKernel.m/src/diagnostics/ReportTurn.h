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
    // On a thread that works for the one that waits here with its turn.
    static void PassToThisThread();
    // The process is about to end: a report begun now would be cut off, and its dump would take the
    // place of ours.
    void KeepToTheEnd() { ours_ = false; }

private:
    bool ours_;
};

// The system's. The number of the calling thread, never 0.
std::uint32_t ThreadNumber();
// The system's. Lets a millisecond pass.
void PauseShortly();

}  // namespace ZKL
