#include "common/NativeSocket.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

#include "MekHost/MekStatus.h"

namespace mek {
namespace {

constexpr int kSocketFlags = SOCK_NONBLOCK | SOCK_CLOEXEC;

int DescriptorOf(SocketHandle handle) {
    return static_cast<int>(handle);
}

std::int32_t StatusOf(int error) {
    switch (error) {
        case EAGAIN:
        case ETIMEDOUT:
            return kMekTimeout;
        case EADDRINUSE:
            return kMekAddressInUse;
        case ECONNREFUSED:
            return kMekConnectionRefused;
        case EMFILE:
        case ENFILE:
        case ENOBUFS:
        case ENOMEM:
            return kMekOutOfMemory;
        default:
            return kMekFailed;
    }
}

// Repeats a system call that a signal interrupted.
template <typename Call>
auto Uninterrupted(Call call) {
    auto result = call();
    while (result < 0 && errno == EINTR) {
        result = call();
    }
    return result;
}

void SetOption(int descriptor, int level, int option) {
    const int on = 1;
    setsockopt(descriptor, level, option, &on, sizeof on);
}

// An address as the calls take it; false when the text is none.
bool ReadAddress(const char* text, int port, sockaddr_in* address) {
    *address = {};
    address->sin_family = AF_INET;
    address->sin_port = htons(static_cast<std::uint16_t>(port));
    return inet_pton(AF_INET, text, &address->sin_addr) == 1;
}

const sockaddr* Plain(const sockaddr_in* address) {
    return reinterpret_cast<const sockaddr*>(address);
}

// A descriptor that is closed unless it is handed on.
class Descriptor {
public:
    explicit Descriptor(int number) : number_(number) {}
    ~Descriptor() {
        if (number_ >= 0) {
            close(number_);
        }
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int Get() const { return number_; }
    // The status for the call that failed last.
    std::int32_t Fail() const { return StatusOf(errno); }
    std::int32_t HandOn(SocketHandle* handle) {
        *handle = number_;
        number_ = -1;
        return kMekOk;
    }

private:
    int number_;
};

std::int32_t FinishConnecting(int descriptor, const Deadline& deadline) {
    if (const std::int32_t status = WaitForSocket(descriptor, Direction::kSend, deadline)) {
        return status;
    }
    int error = 0;
    socklen_t size = sizeof error;
    getsockopt(descriptor, SOL_SOCKET, SO_ERROR, &error, &size);
    return error ? StatusOf(error) : kMekOk;
}

}  // namespace

std::int32_t OpenListener(const char* addressText, int* port, SocketHandle* listener) {
    sockaddr_in address;
    if (!ReadAddress(addressText, *port, &address)) {
        return kMekInvalidParameter;
    }
    Descriptor descriptor(socket(AF_INET, SOCK_STREAM | kSocketFlags, 0));
    if (descriptor.Get() < 0) {
        return descriptor.Fail();
    }
    // A port whose last connections are still timing out may be taken again at once.
    SetOption(descriptor.Get(), SOL_SOCKET, SO_REUSEADDR);
    socklen_t size = sizeof address;
    if (bind(descriptor.Get(), Plain(&address), size) != 0 ||
        listen(descriptor.Get(), SOMAXCONN) != 0 ||
        getsockname(descriptor.Get(), reinterpret_cast<sockaddr*>(&address), &size) != 0) {
        return descriptor.Fail();
    }
    *port = ntohs(address.sin_port);
    return descriptor.HandOn(listener);
}

std::int32_t AcceptSocket(SocketHandle listener, SocketHandle* client) {
    Descriptor descriptor(Uninterrupted(
        [&] { return accept4(DescriptorOf(listener), nullptr, nullptr, kSocketFlags); }));
    if (descriptor.Get() < 0) {
        const std::int32_t status = descriptor.Fail();
        // What is left are faults of a connection that died in the queue: nobody is waiting there.
        return status == kMekFailed && errno != EBADF && errno != EINVAL ? kMekTimeout : status;
    }
    SetOption(descriptor.Get(), IPPROTO_TCP, TCP_NODELAY);
    return descriptor.HandOn(client);
}

std::int32_t ConnectSocket(const char* addressText, int port, const Deadline& deadline,
                           SocketHandle* connection) {
    sockaddr_in address;
    if (!ReadAddress(addressText, port, &address)) {
        return kMekInvalidParameter;
    }
    Descriptor descriptor(socket(AF_INET, SOCK_STREAM | kSocketFlags, 0));
    if (descriptor.Get() < 0) {
        return descriptor.Fail();
    }
    SetOption(descriptor.Get(), IPPROTO_TCP, TCP_NODELAY);
    if (connect(descriptor.Get(), Plain(&address), sizeof address) != 0) {
        // An interrupted connect goes on in the background like one that would block.
        if (errno != EINPROGRESS && errno != EINTR) {
            return descriptor.Fail();
        }
        if (const std::int32_t status = FinishConnecting(descriptor.Get(), deadline)) {
            return status;
        }
    }
    return descriptor.HandOn(connection);
}

std::int32_t WaitForSocket(SocketHandle handle, Direction direction, const Deadline& deadline) {
    pollfd wait{};
    wait.fd = DescriptorOf(handle);
    wait.events = direction == Direction::kReceive ? POLLIN : POLLOUT;
    const int ready = Uninterrupted([&] { return poll(&wait, 1, deadline.RemainingMs()); });
    if (ready < 0) {
        return StatusOf(errno);
    }
    return ready > 0 ? kMekOk : kMekTimeout;
}

std::int32_t SendSome(SocketHandle handle, const void* data, std::size_t bytes, std::size_t* sent) {
    const ssize_t moved = Uninterrupted(
        [&] { return send(DescriptorOf(handle), data, bytes, MSG_NOSIGNAL | MSG_DONTWAIT); });
    if (moved >= 0) {
        *sent = static_cast<std::size_t>(moved);
        return kMekOk;
    }
    return errno == EAGAIN || errno == ENOBUFS ? kMekTimeout : kMekDisconnected;
}

std::int32_t ReceiveSome(SocketHandle handle, void* buffer, std::size_t bytes,
                         std::size_t* received) {
    const ssize_t moved =
        Uninterrupted([&] { return recv(DescriptorOf(handle), buffer, bytes, MSG_DONTWAIT); });
    if (moved > 0) {
        *received = static_cast<std::size_t>(moved);
        return kMekOk;
    }
    return moved < 0 && errno == EAGAIN ? kMekTimeout : kMekDisconnected;
}

void ShutDownSocket(SocketHandle handle) {
    shutdown(DescriptorOf(handle), SHUT_RDWR);
}

void CloseSocket(SocketHandle handle) {
    close(DescriptorOf(handle));
}

}  // namespace mek
