#pragma once

// TCP: a listener and a connection. Addresses are IPv4.
//
// One thread at a time per object, except that Close() may be called while another thread is inside
// Send, Receive, Select or Accept, which then return without delay. A send to a peer that is
// gone is a status, never a signal.
//
// A child that fork() made has the objects of its parent, but the connections and listeners stay
// the parent's: to close or delete one there gives the child's descriptor back, and wakes nobody.

#include <cstddef>
#include <cstdint>

#include "MekHost/MekHostExport.h"

// One end of an established connection. Owned by whoever got it from Accept or Connect.
class MEKHOST_EXPORT MekSockets {
public:
    // Connects to `port` of `address`, a dotted IPv4 address, waiting at most `timeoutMs`
    // milliseconds (-1: for ever). On kMekOk `*connection` is the caller's; otherwise it is null
    // and the result is kMekConnectionRefused, kMekTimeout, kMekInvalidParameter, kMekOutOfMemory
    // or kMekFailed.
    static std::int32_t Connect(const char* address, int port, int timeoutMs,
                                MekSockets** connection);
    // Closes the connection.
    ~MekSockets();
    MekSockets(const MekSockets&) = delete;
    MekSockets& operator=(const MekSockets&) = delete;

    // Bounds every later Send, milliseconds; -1 (the initial value) waits for ever. Returns kMekOk
    // or kMekInvalidParameter.
    std::int32_t SetSendTimeout(int timeoutMs);
    // Sends all `bytes` of `data`. Returns kMekOk, or kMekTimeout, kMekDisconnected,
    // kMekInvalidParameter (null data with bytes to send), kMekInvalidHandle (closed). `*sent`, if
    // given, receives how many bytes went out in any case.
    std::int32_t Send(const void* data, std::size_t bytes, std::size_t* sent = nullptr);
    // Receives at least one and at most `bytes` bytes into `buffer`, waiting at most `timeoutMs`.
    // `*received` gets the number; 0 with kMekDisconnected when the peer has closed. Otherwise
    // returns kMekTimeout, kMekInvalidParameter (a null pointer, no room) or kMekInvalidHandle.
    std::int32_t Receive(void* buffer, std::size_t bytes, int timeoutMs, std::size_t* received);
    // Ends the connection in both directions; what was sent before still reaches the peer. Safe to
    // call again.
    void Close();

private:
    friend class MekSocketConnector;
    struct Native;
    MekSockets();
    Native* native_;
};

// A listening socket.
class MEKHOST_EXPORT MekSocketConnector {
public:
    // Describes a listener on `port` (0: any free one) of the loopback address, or of the IPv4
    // address that the environment variable "ZelLogListenAddress" has now ("0.0.0.0" for all of
    // this machine). `type` is 1 for a byte stream, the only one there is; `family` is 2 for IPv4,
    // the only one there is. Nothing is opened yet. Throws std::bad_alloc.
    MekSocketConnector(int port, int type, int family);
    ~MekSocketConnector();
    MekSocketConnector(const MekSocketConnector&) = delete;
    MekSocketConnector& operator=(const MekSocketConnector&) = delete;

    // Binds and listens. Returns kMekOk, kMekAddressInUse, kMekInvalidParameter (a port, type or
    // family out of range, an address that cannot be read, a second call), kMekOutOfMemory or
    // kMekFailed.
    std::int32_t Declare();
    // Waits at most `timeoutMs` milliseconds (-1: for ever) for a client. Returns kMekOk when
    // Accept will find one, kMekTimeout, kMekInvalidParameter, or kMekInvalidHandle before Declare.
    std::int32_t Select(int timeoutMs);
    // Takes the next client. On kMekOk (0) `*client` is the caller's; otherwise it is null, and
    // kMekTimeout says that nobody is waiting; kMekOutOfMemory, that there is no descriptor for the
    // client, who stays in the queue. Never blocks.
    std::int32_t Accept(MekSockets** client);
    // Stops listening; whoever waits in Select is woken. Afterwards Select and Accept return
    // kMekInvalidHandle. Safe to call again.
    void Close();
    // The port in use after Declare, the one asked for before.
    int GetPort() const;

private:
    struct Native;
    Native* native_;
};
