#pragma once

// Collects what reaches the assertion sink while it lives, from any thread. One at a time.

#include <MekHost/assertion/MekCheck.h>

#include <mutex>
#include <string>
#include <vector>

namespace test {

struct FailedCheck {
    std::string expression;
    std::string path;
    int line;
};

class ScopedCheckHandler {
public:
    ScopedCheckHandler() : previous_(MekSetCheckHandler(&Collect)) { Clear(); }
    ~ScopedCheckHandler() { MekSetCheckHandler(previous_); }
    ScopedCheckHandler(const ScopedCheckHandler&) = delete;
    ScopedCheckHandler& operator=(const ScopedCheckHandler&) = delete;

    std::vector<FailedCheck> Checks() const {
        const std::lock_guard guard(s_mutex);
        return s_checks;
    }
    // The expressions alone, in order.
    std::vector<std::string> Expressions() const {
        std::vector<std::string> expressions;
        for (const FailedCheck& check : Checks()) {
            expressions.push_back(check.expression);
        }
        return expressions;
    }
    void Clear() {
        const std::lock_guard guard(s_mutex);
        s_checks.clear();
    }

private:
    static void Collect(const char* expression, const char* path, int line) {
        const std::lock_guard guard(s_mutex);
        s_checks.push_back({expression, path, line});
    }

    static inline std::mutex s_mutex;
    static inline std::vector<FailedCheck> s_checks;

    MekCheckHandler previous_;
};

}  // namespace test
