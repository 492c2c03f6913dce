#include "common/RawWrite.h"

#include <unistd.h>

#include <cerrno>

namespace mek {

bool RawWrite(int descriptor, std::string_view text) {
    const int before = errno;
    while (!text.empty()) {
        const ssize_t written = write(descriptor, text.data(), text.size());
        if (written > 0) {
            text.remove_prefix(static_cast<std::size_t>(written));
        } else if (written == 0 || errno != EINTR) {
            break;
        }
    }
    errno = before;
    return text.empty();
}

}  // namespace mek
