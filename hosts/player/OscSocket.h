#pragma once

#include <sys/socket.h>

#include <cstdint>
#include <optional>
#include <string>

#include "hosts/player/OscMessage.h"
#include "platform/FileDescriptor.h"
#include "platform/Result.h"

namespace morv::player {

// Exchanges messages with one server over UDP, from a port of its own. Main thread; nothing waits but the
// look-up of the server's name at the start.
class OscSocket {
 public:
  // The server's place as "osc.udp://host:port/". Fails if it is none, or the host is not known.
  static Result<OscSocket> to(const std::string& url);

  // Fails with the reason if the system does not take the packet.
  Outcome send(const OscMessage& message) const;
  // The next message from the server's host and port, none if nothing waits. Packets that are no message, and
  // those of others, are passed over.
  std::optional<OscMessage> receive() const;
  // Whether two addresses are one program's: the same port of the same host. All addresses of the loopback
  // are this host's: a server reached at one of them may answer from another.
  static bool isSameEnd(const sockaddr_storage& a, const sockaddr_storage& b);
  // To wait on, with `poll`.
  int descriptor() const noexcept { return socket_.number(); }

 private:
  OscSocket(FileDescriptor socket, const sockaddr_storage& server, socklen_t serverLength);

  FileDescriptor socket_;
  sockaddr_storage server_{};
  socklen_t serverLength_ = 0;
};

}  // namespace morv::player
