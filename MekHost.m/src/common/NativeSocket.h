#pragma once

// The operating system's TCP sockets, as far as MekSockets needs them. No call blocks but those
// that take a deadline, and none raises a signal.

#include <cstddef>
#include <cstdint>

#include "common/Deadline.h"

namespace mek {

using SocketHandle = std::intptr_t;
constexpr SocketHandle kNoSocket = -1;

// The functions return kMekOk and store their results, or another status and store none.

// Listens on `*port` of a dotted IPv4 address (0: any free port) and stores the port that it
// became.
std::int32_t OpenListener(const char* address, int* port, SocketHandle* listener);
// kMekTimeout when no client is waiting.
std::int32_t AcceptSocket(SocketHandle listener, SocketHandle* client);
std::int32_t ConnectSocket(const char* address, int port, const Deadline& deadline,
                           SocketHandle* connection);

enum class Direction { kReceive, kSend };
// Waits until a receive or send has something to say, be it that the connection is gone.
std::int32_t WaitForSocket(SocketHandle handle, Direction direction, const Deadline& deadline);
// kMekTimeout when nothing can be moved just now, kMekDisconnected when nothing ever will.
std::int32_t SendSome(SocketHandle handle, const void* data, std::size_t bytes, std::size_t* sent);
std::int32_t ReceiveSome(SocketHandle handle, void* buffer, std::size_t bytes,
                         std::size_t* received);

// Ends a connection in both directions, or a listener, which also ends the waits of other threads;
// the handle stays taken, so that those threads cannot meet another socket under its number.
void ShutDownSocket(SocketHandle handle);
void CloseSocket(SocketHandle handle);

}  // namespace mek
