#include "Trace.h"

namespace trace {

std::uint32_t Names::Add(std::string_view text) {
    const auto known = ids_.find(text);
    if (known != ids_.end()) {
        return known->second;
    }
    const auto id = static_cast<std::uint32_t>(texts_.size());
    ids_.emplace(texts_.emplace_back(text), id);
    return id;
}

std::string ThreadTitle(const Thread& thread) {
    return thread.name.empty()
               ? "thread " + std::to_string(thread.pid) + ":" + std::to_string(thread.tid)
               : thread.name;
}

}  // namespace trace
