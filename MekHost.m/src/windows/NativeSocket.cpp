#include "common/NativeSocket.h"

// winsock2.h has to come first: windows.h would bring its predecessor.
#include <winsock2.h>

#include <windows.h>
#include <ws2tcpip.h>

#include <algorithm>
#include <atomic>
#include <memory>

#include "MekHost/MekStatus.h"

namespace mek {
namespace {

// A send may take more than the system's buffers hold, all at once and however much it is; in
// pieces it stops where they are full.
constexpr std::size_t kMostAtOnce = 65536;

std::int32_t StatusOf(int error) {
    switch (error) {
        case WSAEWOULDBLOCK:
        case WSAETIMEDOUT:
            return kMekTimeout;
        case WSAEADDRINUSE:
        case WSAEACCES:  // somebody listens there and shares the port with nobody
            return kMekAddressInUse;
        case WSAECONNREFUSED:
            return kMekConnectionRefused;
        case WSAEMFILE:
        case WSAENOBUFS:
        case WSA_NOT_ENOUGH_MEMORY:
            return kMekOutOfMemory;
        default:
            return kMekFailed;
    }
}

// The status for the call that failed last.
std::int32_t Failure() {
    return StatusOf(WSAGetLastError());
}

// Takes part in the system's count of those who use its sockets.
class SocketLibrary {
public:
    SocketLibrary() {
        WSADATA ignored;
        error_ = WSAStartup(MAKEWORD(2, 2), &ignored);
    }
    ~SocketLibrary() {
        if (error_ == 0) {
            WSACleanup();
        }
    }
    SocketLibrary(const SocketLibrary&) = delete;
    SocketLibrary& operator=(const SocketLibrary&) = delete;

private:
    int error_;
};

// A system socket that never blocks, that no child inherits, and that is closed with the object.
class Socket {
public:
    explicit Socket(SOCKET native) : native_(native) {
        if (IsOpen()) {
            u_long on = 1;
            ioctlsocket(native_, static_cast<long>(FIONBIO), &on);
            SetHandleInformation(reinterpret_cast<HANDLE>(native_), HANDLE_FLAG_INHERIT, 0);
        }
    }
    ~Socket() { Close(); }
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;

    SOCKET Get() const { return native_; }
    bool IsOpen() const { return native_ != INVALID_SOCKET; }
    void SetOption(int level, int option) const {
        const int on = 1;
        setsockopt(native_, level, option, reinterpret_cast<const char*>(&on), sizeof on);
    }
    void Close() {
        if (IsOpen()) {
            closesocket(native_);
            native_ = INVALID_SOCKET;
        }
    }

private:
    SOCKET native_;
};

// An address as the calls take it.
class Address {
public:
    // False when the text is none.
    bool Read(const char* text, int port) {
        native_.sin_family = AF_INET;
        native_.sin_port = htons(static_cast<std::uint16_t>(port));
        return inet_pton(AF_INET, text, &native_.sin_addr) == 1;
    }
    // Binds the socket and reads what it is bound to; false when that fails.
    bool Bind(const Socket& socket) {
        int size = sizeof native_;
        return bind(socket.Get(), Plain(), size) == 0 &&
               getsockname(socket.Get(), Plain(), &size) == 0;
    }
    int Connect(const Socket& socket) { return connect(socket.Get(), Plain(), sizeof native_); }
    int Port() const { return ntohs(native_.sin_port); }

private:
    sockaddr* Plain() { return reinterpret_cast<sockaddr*>(&native_); }

    sockaddr_in native_{};
};

// What a handle stands for: the socket and what it takes to wake those who wait for it. Ending the
// sending half of a connection tells the waiters on this side nothing, ending its receiving half
// would throw away what the peer sent last, and a listener ends only when it is closed. So every
// wait watches a second socket as well: a datagram to itself makes that one readable for good.
class Endpoint {
public:
    explicit Endpoint(SOCKET native)
        : socket(native), bell_(WSASocketW(AF_INET, SOCK_DGRAM, 0, nullptr, 0, kFlags)) {}

    static std::unique_ptr<Endpoint> Open() {
        const SocketLibrary library;
        return Of(WSASocketW(AF_INET, SOCK_STREAM, 0, nullptr, 0, kFlags));
    }
    // Takes the socket over, also when it throws.
    static std::unique_ptr<Endpoint> Of(SOCKET native) {
        std::unique_ptr<Endpoint> endpoint(new (std::nothrow) Endpoint(native));
        if (!endpoint) {
            closesocket(native);
            throw std::bad_alloc();
        }
        return endpoint;
    }

    // False when the system has no sockets left.
    bool Prepare() {
        Address self;
        return socket.IsOpen() && bell_.IsOpen() && self.Read("127.0.0.1", 0) && self.Bind(bell_) &&
               self.Connect(bell_) == 0;
    }
    std::int32_t Wait(short events, const Deadline& deadline) const {
        WSAPOLLFD waits[2]{};
        waits[0].fd = socket.Get();
        waits[0].events = events;
        waits[1].fd = bell_.Get();
        waits[1].events = POLLRDNORM;
        const int ready = WSAPoll(waits, 2, deadline.RemainingMs());
        if (ready == SOCKET_ERROR) {
            return Failure();
        }
        return ready > 0 ? kMekOk : kMekTimeout;
    }
    // Sends every wait home, those to come included.
    void Wake() {
        isShutDown = true;
        send(bell_.Get(), "", 1, 0);
    }

    static constexpr DWORD kFlags = WSA_FLAG_OVERLAPPED | WSA_FLAG_NO_HANDLE_INHERIT;

    const SocketLibrary library;  // the first to come, the last to go
    Socket socket;
    bool isListener = false;
    std::atomic<bool> isShutDown{false};
    // Held shared by whoever uses a listener, so that it is closed when nobody does.
    SRWLOCK lock = SRWLOCK_INIT;

private:
    Socket bell_;
};

Endpoint& EndpointOf(SocketHandle handle) {
    return *reinterpret_cast<Endpoint*>(handle);
}

std::int32_t HandOn(std::unique_ptr<Endpoint> endpoint, SocketHandle* handle) {
    *handle = reinterpret_cast<SocketHandle>(endpoint.release());
    return kMekOk;
}

class SharedGuard {
public:
    explicit SharedGuard(SRWLOCK& lock) : lock_(lock) { AcquireSRWLockShared(&lock_); }
    ~SharedGuard() { ReleaseSRWLockShared(&lock_); }
    SharedGuard(const SharedGuard&) = delete;
    SharedGuard& operator=(const SharedGuard&) = delete;

private:
    SRWLOCK& lock_;
};

// Not WSAPoll, which on older systems does not tell of a connection that was refused.
std::int32_t FinishConnecting(SOCKET socket, const Deadline& deadline) {
    fd_set succeeded;
    fd_set failed;
    FD_ZERO(&succeeded);
    FD_SET(socket, &succeeded);
    failed = succeeded;
    const int left = deadline.RemainingMs();
    timeval limit{left / 1000, left % 1000 * 1000};
    const int ready =
        select(0, nullptr, &succeeded, &failed, deadline.IsForever() ? nullptr : &limit);
    if (ready == SOCKET_ERROR) {
        return Failure();
    }
    if (ready == 0) {
        return kMekTimeout;
    }
    int error = 0;
    int size = sizeof error;
    getsockopt(socket, SOL_SOCKET, SO_ERROR, reinterpret_cast<char*>(&error), &size);
    return error ? StatusOf(error) : kMekOk;
}

}  // namespace

std::int32_t OpenListener(const char* addressText, int* port, SocketHandle* listener) {
    Address address;
    if (!address.Read(addressText, *port)) {
        return kMekInvalidParameter;
    }
    std::unique_ptr<Endpoint> endpoint = Endpoint::Open();
    if (!endpoint->Prepare()) {
        return Failure();
    }
    endpoint->isListener = true;
    // Nobody else may listen on the same port, which the system would allow otherwise.
    endpoint->socket.SetOption(SOL_SOCKET, SO_EXCLUSIVEADDRUSE);
    if (!address.Bind(endpoint->socket) || listen(endpoint->socket.Get(), SOMAXCONN) != 0) {
        return Failure();
    }
    *port = address.Port();
    return HandOn(std::move(endpoint), listener);
}

std::int32_t AcceptSocket(SocketHandle listener, SocketHandle* client) {
    Endpoint& from = EndpointOf(listener);
    const SharedGuard guard(from.lock);
    const SOCKET accepted = accept(from.socket.Get(), nullptr, nullptr);
    if (accepted == INVALID_SOCKET) {
        // A connection that died in the queue: nobody is waiting there.
        return WSAGetLastError() == WSAECONNRESET ? kMekTimeout : Failure();
    }
    std::unique_ptr<Endpoint> endpoint = Endpoint::Of(accepted);
    if (!endpoint->Prepare()) {
        return Failure();
    }
    endpoint->socket.SetOption(IPPROTO_TCP, TCP_NODELAY);
    return HandOn(std::move(endpoint), client);
}

std::int32_t ConnectSocket(const char* addressText, int port, const Deadline& deadline,
                           SocketHandle* connection) {
    Address address;
    if (!address.Read(addressText, port)) {
        return kMekInvalidParameter;
    }
    std::unique_ptr<Endpoint> endpoint = Endpoint::Open();
    if (!endpoint->Prepare()) {
        return Failure();
    }
    endpoint->socket.SetOption(IPPROTO_TCP, TCP_NODELAY);
    if (address.Connect(endpoint->socket) != 0) {
        if (WSAGetLastError() != WSAEWOULDBLOCK) {
            return Failure();
        }
        if (const std::int32_t status = FinishConnecting(endpoint->socket.Get(), deadline)) {
            return status;
        }
    }
    return HandOn(std::move(endpoint), connection);
}

std::int32_t WaitForSocket(SocketHandle handle, Direction direction, const Deadline& deadline) {
    Endpoint& endpoint = EndpointOf(handle);
    const SharedGuard guard(endpoint.lock);
    if (endpoint.isShutDown) {
        return kMekOk;
    }
    return endpoint.Wait(direction == Direction::kReceive ? POLLRDNORM : POLLWRNORM, deadline);
}

std::int32_t SendSome(SocketHandle handle, const void* data, std::size_t bytes, std::size_t* sent) {
    const int moved = send(EndpointOf(handle).socket.Get(), static_cast<const char*>(data),
                           static_cast<int>(std::min(bytes, kMostAtOnce)), 0);
    if (moved >= 0) {
        *sent = static_cast<std::size_t>(moved);
        return kMekOk;
    }
    const int error = WSAGetLastError();
    return error == WSAEWOULDBLOCK || error == WSAENOBUFS ? kMekTimeout : kMekDisconnected;
}

std::int32_t ReceiveSome(SocketHandle handle, void* buffer, std::size_t bytes,
                         std::size_t* received) {
    const Endpoint& endpoint = EndpointOf(handle);
    const int moved = recv(endpoint.socket.Get(), static_cast<char*>(buffer),
                           static_cast<int>(std::min(bytes, kMostAtOnce)), 0);
    if (moved > 0) {
        *received = static_cast<std::size_t>(moved);
        return kMekOk;
    }
    const bool mayCome = moved < 0 && WSAGetLastError() == WSAEWOULDBLOCK && !endpoint.isShutDown;
    return mayCome ? kMekTimeout : kMekDisconnected;
}

void ShutDownSocket(SocketHandle handle) {
    Endpoint& endpoint = EndpointOf(handle);
    endpoint.Wake();
    if (!endpoint.isListener) {
        shutdown(endpoint.socket.Get(), SD_SEND);
        return;
    }
    AcquireSRWLockExclusive(&endpoint.lock);
    endpoint.socket.Close();
    ReleaseSRWLockExclusive(&endpoint.lock);
}

void CloseSocket(SocketHandle handle) {
    delete &EndpointOf(handle);
}

}  // namespace mek
