#include "LineStream.h"

#include <utility>

namespace logview {

std::vector<std::string_view> LineStream::Push(std::string_view bytes) {
    bytes_.erase(0, taken_);
    scanned_ -= taken_;
    taken_ = 0;
    bytes_ += bytes;
    const std::string_view text = bytes_;
    std::vector<std::string_view> lines;
    for (std::size_t end = 0; (end = text.find('\n', scanned_)) != std::string_view::npos;) {
        lines.push_back(text.substr(taken_, end - taken_));
        taken_ = scanned_ = end + 1;
    }
    scanned_ = text.size();
    return lines;
}

std::string LineStream::Finish(bool& ended) {
    std::string rest = bytes_.substr(taken_);
    bytes_.clear();
    taken_ = scanned_ = 0;
    ended = rest.ends_with(kEndMark);
    if (ended) {
        rest.resize(rest.size() - kEndMark.size());
    }
    return rest;
}

}  // namespace logview
