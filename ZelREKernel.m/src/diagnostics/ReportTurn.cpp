#include "diagnostics/ReportTurn.h"

#include <atomic>

namespace ZKL {
namespace {

// The thread whose turn it is; 0 for none.
std::atomic<std::uint32_t> s_reporting{0};

bool Take() {
    const std::uint32_t self = ThreadNumber();
    for (std::uint32_t nobody = 0; !s_reporting.compare_exchange_strong(nobody, self); nobody = 0) {
        if (nobody == self) {
            return false;
        }
        PauseShortly();
    }
    return true;
}

}  // namespace

ReportTurn::ReportTurn() : ours_(Take()) {}

ReportTurn::~ReportTurn() {
    if (ours_) {
        s_reporting.store(0);
    }
}

void ReportTurn::PassToThisThread() {
    s_reporting.store(ThreadNumber());
}

}  // namespace ZKL
