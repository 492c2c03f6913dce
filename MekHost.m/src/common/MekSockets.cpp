#include "MekHost/system/MekSockets.h"

#include <array>
#include <atomic>
#include <memory>
#include <string>

#include "MekHost/MekStatus.h"
#include "MekHost/process/MekEnvironment.h"
#include "common/NativeSocket.h"
#include "common/NativeThread.h"

namespace {

constexpr int kStreamType = 1;
constexpr int kIPv4Family = 2;
constexpr int kHighestPort = 65535;

// What is heard here is nobody else's business unless the host says so.
std::string ReadListenAddress() {
    std::string address;
    MekGetEnv("ZelLogListenAddress", &address);
    return address.empty() ? "127.0.0.1" : address;
}

}  // namespace

struct MekSockets::Native {
    bool IsOurs() const { return process == mek::ThisProcess(); }

    mek::SocketHandle handle = mek::kNoSocket;
    int sendTimeoutMs = -1;
    std::atomic<bool> isClosed{false};
    const std::uint32_t process = mek::ThisProcess();
};

struct MekSocketConnector::Native {
    int port = 0;
    int type = 0;
    int family = 0;
    std::string address;
    mek::SocketHandle handle = mek::kNoSocket;
    std::atomic<bool> isClosed{false};
    std::uint32_t process = 0;  // that opened it
};

// Made before there is a connection: one without an object would stay open for ever.
MekSockets::MekSockets() : native_(new Native) {}

std::int32_t MekSockets::Connect(const char* address, int port, int timeoutMs,
                                 MekSockets** connection) {
    if (connection) {
        *connection = nullptr;
    }
    if (!connection || !address || port < 1 || port > kHighestPort ||
        !mek::Deadline::IsValid(timeoutMs)) {
        return kMekInvalidParameter;
    }
    std::unique_ptr<MekSockets> made(new MekSockets);
    const std::int32_t status =
        mek::ConnectSocket(address, port, mek::Deadline(timeoutMs), &made->native_->handle);
    if (status == kMekOk) {
        *connection = made.release();
    }
    return status;
}

MekSockets::~MekSockets() {
    if (native_->handle == mek::kNoSocket) {
        delete native_;
        return;
    }
    Close();
    // A socket that is closed over unread bytes resets the connection, and the peer may lose what
    // was sent last. A peer that never stops sending is not waited for.
    std::array<char, 4096> unread;
    std::size_t received = 0;
    for (int round = 0; round < 256 && native_->IsOurs(); ++round) {
        if (mek::ReceiveSome(native_->handle, unread.data(), unread.size(), &received) != kMekOk) {
            break;
        }
    }
    mek::CloseSocket(native_->handle);
    delete native_;
}

std::int32_t MekSockets::SetSendTimeout(int timeoutMs) {
    if (!mek::Deadline::IsValid(timeoutMs)) {
        return kMekInvalidParameter;
    }
    native_->sendTimeoutMs = timeoutMs;
    return kMekOk;
}

std::int32_t MekSockets::Send(const void* data, std::size_t bytes, std::size_t* sent) {
    if (sent) {
        *sent = 0;
    }
    if (!data && bytes) {
        return kMekInvalidParameter;
    }
    if (native_->isClosed) {
        return kMekInvalidHandle;
    }
    const mek::Deadline deadline(native_->sendTimeoutMs);
    for (std::size_t done = 0; done < bytes;) {
        std::size_t moved = 0;
        std::int32_t status = mek::SendSome(native_->handle, static_cast<const char*>(data) + done,
                                            bytes - done, &moved);
        done += moved;
        if (sent) {
            *sent = done;
        }
        if (status == kMekTimeout) {
            status = mek::WaitForSocket(native_->handle, mek::Direction::kSend, deadline);
        }
        if (status != kMekOk) {
            return status;
        }
    }
    return kMekOk;
}

std::int32_t MekSockets::Receive(void* buffer, std::size_t bytes, int timeoutMs,
                                 std::size_t* received) {
    if (received) {
        *received = 0;
    }
    if (!received || !buffer || bytes == 0 || !mek::Deadline::IsValid(timeoutMs)) {
        return kMekInvalidParameter;
    }
    if (native_->isClosed) {
        return kMekInvalidHandle;
    }
    const mek::Deadline deadline(timeoutMs);
    for (;;) {
        std::int32_t status = mek::ReceiveSome(native_->handle, buffer, bytes, received);
        if (status != kMekTimeout) {
            return status;
        }
        status = mek::WaitForSocket(native_->handle, mek::Direction::kReceive, deadline);
        if (status != kMekOk) {
            return status;
        }
    }
}

void MekSockets::Close() {
    if (!native_->isClosed.exchange(true) && native_->IsOurs()) {
        mek::ShutDownSocket(native_->handle);
    }
}

// The address is read here, on the caller's thread: a listener's own would read the environment
// while the host may be changing it.
MekSocketConnector::MekSocketConnector(int port, int type, int family)
    : native_(new Native{port, type, family, ReadListenAddress()}) {}

MekSocketConnector::~MekSocketConnector() {
    if (native_->handle != mek::kNoSocket) {
        mek::CloseSocket(native_->handle);
    }
    delete native_;
}

std::int32_t MekSocketConnector::Declare() {
    if (native_->handle != mek::kNoSocket || native_->port < 0 || native_->port > kHighestPort ||
        native_->type != kStreamType || native_->family != kIPv4Family) {
        return kMekInvalidParameter;
    }
    native_->process = mek::ThisProcess();
    return mek::OpenListener(native_->address.c_str(), &native_->port, &native_->handle);
}

std::int32_t MekSocketConnector::Select(int timeoutMs) {
    if (!mek::Deadline::IsValid(timeoutMs)) {
        return kMekInvalidParameter;
    }
    if (native_->handle == mek::kNoSocket || native_->isClosed) {
        return kMekInvalidHandle;
    }
    return mek::WaitForSocket(native_->handle, mek::Direction::kReceive, mek::Deadline(timeoutMs));
}

std::int32_t MekSocketConnector::Accept(MekSockets** client) {
    if (!client) {
        return kMekInvalidParameter;
    }
    *client = nullptr;
    if (native_->handle == mek::kNoSocket || native_->isClosed) {
        return kMekInvalidHandle;
    }
    std::unique_ptr<MekSockets> made(new MekSockets);
    const std::int32_t status = mek::AcceptSocket(native_->handle, &made->native_->handle);
    if (status == kMekOk) {
        *client = made.release();
    }
    return status;
}

void MekSocketConnector::Close() {
    if (native_->handle != mek::kNoSocket && !native_->isClosed.exchange(true) &&
        native_->process == mek::ThisProcess()) {
        mek::ShutDownSocket(native_->handle);
    }
}

int MekSocketConnector::GetPort() const {
    return native_->port;
}
