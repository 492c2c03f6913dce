#include "core/LogSocketServer.h"

#include <mutex>
#include <new>

#include "MekHost/MekStatus.h"
#include "base/LibraryEnd.h"

namespace ZKL {
namespace {

constexpr int kByteStream = 1;
constexpr int kIPv4 = 2;
constexpr int kSelectTimeoutMs = 1000;
// Between two tries to accept while the system has no descriptors left, and to get the port.
constexpr int kAcceptPauseMs = 20;
constexpr int kPortPauseMs = 250;

}  // namespace

LogSocketServer::LogSocketServer()
    : MekThreads("Zelo:LogSocket", nullptr, -1, 0, 0),
      name_(u"Zelo:LogSocket"),
      connector_(std::make_unique<MekSocketConnector>(kPort, kByteStream, kIPv4)),
      end_(CreateMekEvent(0)) {}

LogSocketServer::~LogSocketServer() {
    running_.store(0);
    end_->Signal(0);
    {
        const std::lock_guard guard(mutex_);
        connector_->Close();  // wakes the thread, which uses it until it ends
        DropClient();
    }
    Join();
    DropClient();  // one that was accepted meanwhile
}

void LogSocketServer::End(std::unique_ptr<LogSocketServer> server) {
    server->Send("--KILL_SOCKET--");
    if (!AreThreadsGone() && server->IsJoinable()) {
        return;
    }
    // What a thread held that is no more is in no known state.
    const std::unique_lock lock(server->mutex_, std::try_to_lock);
    if (lock) {
        server->DropClient();
    }
    if (!lock || AreThreadsGone()) {
        static_cast<void>(server.release());
    }
}

void LogSocketServer::Send(std::string_view text) {
    if (!IsJoinable()) {
        return;
    }
    const std::unique_lock lock = Lock();
    if (lock && client_ && !SendAll(text) && ++sendFailures_ > kMaxSendFailures) {
        DropClient();
    }
}

// At the end of a process the system may have ended the thread that held the lock. Then nobody gets
// it, and there is no viewer to be served any more.
std::unique_lock<MekMutex> LogSocketServer::Lock() {
    if (AreThreadsGone()) {
        return {mutex_, std::try_to_lock};
    }
    return std::unique_lock(mutex_);
}

std::int32_t LogSocketServer::Run() {
    // The port may be that of this channel's previous output, which lives on until its last text is
    // written.
    std::int32_t status = Listen();
    while (status == kMekAddressInUse) {
        WaitForSingleEvent(end_.get(), kPortPauseMs);
        status = Listen();
    }
    if (status != kMekOk) {
        return status;
    }
    while (running_.load()) {
        connector_->Select(kSelectTimeoutMs);
        status = AcceptViewer();
        if (status != kMekOk && status != kMekTimeout && running_.load()) {
            WaitForSingleEvent(end_.get(), kAcceptPauseMs);
        }
    }
    return kMekOk;
}

std::int32_t LogSocketServer::Listen() {
    const std::lock_guard guard(mutex_);
    if (!running_.load()) {
        return kMekFailed;
    }
    try {
        return connector_->Declare();
    } catch (const std::bad_alloc&) {
        return kMekOutOfMemory;
    }
}

std::int32_t LogSocketServer::AcceptViewer() {
    MekSockets* client = nullptr;
    try {
        if (const std::int32_t status = connector_->Accept(&client); status != kMekOk) {
            return status;
        }
    } catch (const std::bad_alloc&) {
        return kMekOutOfMemory;
    }
    client->SetSendTimeout(kSendTimeoutMs);
    const std::lock_guard guard(mutex_);
    DropClient();
    client_ = client;
    sendFailures_ = 0;
    return kMekOk;
}

void LogSocketServer::DropClient() {
    const std::lock_guard guard(mutex_);
    if (client_) {
        client_->Close();
        delete client_;
        client_ = nullptr;
    }
    unsent_.clear();
}

bool LogSocketServer::SendAll(std::string_view text) {
    std::size_t sent = 0;
    if (!unsent_.empty()) {
        const std::int32_t status = client_->Send(unsent_.data(), unsent_.size(), &sent);
        unsent_.erase(0, sent);
        if (status != kMekOk) {
            return false;
        }
    }
    const std::int32_t status = client_->Send(text.data(), text.size(), &sent);
    if (status != kMekOk && sent > 0) {
        unsent_.assign(text.substr(sent));
    }
    return status == kMekOk;
}

}  // namespace ZKL
