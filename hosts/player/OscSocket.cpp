#include "hosts/player/OscSocket.h"

#include <netdb.h>
#include <netinet/in.h>

#include <array>
#include <cstring>
#include <memory>
#include <string_view>
#include <utility>

namespace morv::player {
namespace {

constexpr std::size_t kGreatestPacket = 65536;  // of UDP

std::uint16_t portOf(const sockaddr_storage& address) {
  if (address.ss_family == AF_INET) return reinterpret_cast<const sockaddr_in&>(address).sin_port;
  return reinterpret_cast<const sockaddr_in6&>(address).sin6_port;
}

bool isLoopback(const sockaddr_storage& address) {
  constexpr std::uint32_t kLoopbackNet = 127;
  constexpr unsigned kNetShift = 24;
  if (address.ss_family == AF_INET6) {
    return std::memcmp(&reinterpret_cast<const sockaddr_in6&>(address).sin6_addr, &in6addr_loopback,
                       sizeof(in6addr_loopback)) == 0;
  }
  return ntohl(reinterpret_cast<const sockaddr_in&>(address).sin_addr.s_addr) >> kNetShift == kLoopbackNet;
}

bool isSameHost(const sockaddr_storage& a, const sockaddr_storage& b) {
  if (isLoopback(a) || isLoopback(b)) return isLoopback(a) && isLoopback(b);
  if (a.ss_family == AF_INET6) {
    return std::memcmp(&reinterpret_cast<const sockaddr_in6&>(a).sin6_addr,
                       &reinterpret_cast<const sockaddr_in6&>(b).sin6_addr, sizeof(in6_addr)) == 0;
  }
  return reinterpret_cast<const sockaddr_in&>(a).sin_addr.s_addr ==
         reinterpret_cast<const sockaddr_in&>(b).sin_addr.s_addr;
}

// A server on this machine answers to this machine alone, so nobody else needs to reach the port. A name may
// stand for another loopback address than the one that the answer comes from, so the socket is not tied to
// the server's.
sockaddr_storage ownAddressFor(const sockaddr_storage& server) {
  sockaddr_storage own{};
  own.ss_family = server.ss_family;
  if (!isLoopback(server)) return own;
  if (server.ss_family == AF_INET6) {
    reinterpret_cast<sockaddr_in6&>(own).sin6_addr = in6addr_loopback;
  } else {
    reinterpret_cast<sockaddr_in&>(own).sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  }
  return own;
}

}  // namespace

OscSocket::OscSocket(FileDescriptor socket, const sockaddr_storage& server, socklen_t serverLength)
    : socket_(std::move(socket)), server_(server), serverLength_(serverLength) {}

Result<OscSocket> OscSocket::to(const std::string& url) {
  constexpr std::string_view kScheme = "osc.udp://";
  const Failure notAPlace{"'" + url + "' is not of the form osc.udp://HOST:PORT/"};
  if (!url.starts_with(kScheme)) return notAPlace;
  std::string host = url.substr(kScheme.size());
  host = host.substr(0, host.find('/'));
  const auto colon = host.rfind(':');
  if (colon == std::string::npos || colon == 0) return notAPlace;
  const std::string port = host.substr(colon + 1);
  host.resize(colon);
  if (host.starts_with('[') && host.ends_with(']')) host = host.substr(1, host.size() - 2);
  if (port.empty() || port.find_first_not_of("0123456789") != std::string::npos) return notAPlace;

  addrinfo hints{};
  hints.ai_family = AF_UNSPEC;
  hints.ai_socktype = SOCK_DGRAM;
  hints.ai_flags = AI_NUMERICSERV;
  addrinfo* found = nullptr;
  if (const int error = getaddrinfo(host.c_str(), port.c_str(), &hints, &found); error != 0) {
    return Failure{"'" + url + "': " + gai_strerror(error)};
  }
  const std::unique_ptr<addrinfo, void (*)(addrinfo*)> list(found, freeaddrinfo);
  // Session managers listen on IPv4 as a rule, so that a name of both kinds means that.
  const addrinfo* chosen = found;
  while (chosen->ai_family != AF_INET && chosen->ai_next != nullptr) chosen = chosen->ai_next;
  if (chosen->ai_family != AF_INET) chosen = found;
  sockaddr_storage server{};
  std::memcpy(&server, chosen->ai_addr, chosen->ai_addrlen);
  FileDescriptor socket(::socket(chosen->ai_family, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  const sockaddr_storage own = ownAddressFor(server);
  if (!socket.isOpen() ||
      ::bind(socket.number(), reinterpret_cast<const sockaddr*>(&own), chosen->ai_addrlen) != 0) {
    return systemFailure(url);
  }
  return OscSocket(std::move(socket), server, chosen->ai_addrlen);
}

bool OscSocket::isSameEnd(const sockaddr_storage& a, const sockaddr_storage& b) {
  return a.ss_family == b.ss_family && portOf(a) == portOf(b) && isSameHost(a, b);
}

Outcome OscSocket::send(const OscMessage& message) const {
  const auto packet = message.encode();
  const auto sent = ::sendto(socket_.number(), packet.data(), packet.size(), 0,
                             reinterpret_cast<const sockaddr*>(&server_), serverLength_);
  if (sent < 0) return systemFailure(message.address());
  return Done{};
}

std::optional<OscMessage> OscSocket::receive() const {
  std::array<std::uint8_t, kGreatestPacket> packet{};
  for (;;) {
    sockaddr_storage from{};
    socklen_t fromLength = sizeof(from);
    const auto length = ::recvfrom(socket_.number(), packet.data(), packet.size(), 0,
                                   reinterpret_cast<sockaddr*>(&from), &fromLength);
    if (length < 0) return std::nullopt;
    if (!isSameEnd(from, server_)) continue;
    if (auto message = OscMessage::decode({packet.data(), static_cast<std::size_t>(length)})) return message;
  }
}

}  // namespace morv::player
