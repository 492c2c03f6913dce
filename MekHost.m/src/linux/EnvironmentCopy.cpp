#include "linux/EnvironmentCopy.h"

#include <unistd.h>

#include <mutex>

#include "common/EnvironmentLock.h"

namespace mek {

EnvironmentCopy::EnvironmentCopy() {
    {
        const std::lock_guard guard(environmentLock);
        for (char** each = environ; each && *each; ++each) {
            texts_.emplace_back(*each);
        }
    }
    variables_.reserve(texts_.size() + 1);
    for (std::string& text : texts_) {
        variables_.push_back(text.data());
    }
    variables_.push_back(nullptr);
}

const char* EnvironmentCopy::Find(std::string_view name) const {
    for (const std::string& text : texts_) {
        if (text.size() > name.size() && text[name.size()] == '=' && text.starts_with(name)) {
            return text.c_str() + name.size() + 1;
        }
    }
    return nullptr;
}

}  // namespace mek
