#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "hosts/player/OscMessage.h"
#include "tests/player/Polling.h"

namespace morv {

// The other end of a session: a UDP port of the test's own that writes down what comes and sends what it is
// told to the one who wrote last.
class FakeManager {
 public:
  using Message = player::OscMessage;

  FakeManager() : socket_(::socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)) {
    sockaddr_in own{};
    own.sin_family = AF_INET;
    own.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ::bind(socket_, reinterpret_cast<const sockaddr*>(&own), sizeof(own));
    socklen_t length = sizeof(own);
    ::getsockname(socket_, reinterpret_cast<sockaddr*>(&own), &length);
    port_ = ntohs(own.sin_port);
  }
  ~FakeManager() { ::close(socket_); }
  FakeManager(const FakeManager&) = delete;
  FakeManager& operator=(const FakeManager&) = delete;

  std::string url() const { return "osc.udp://localhost:" + std::to_string(port_) + "/"; }

  // The first message to this address that comes within the time, or came earlier and was not asked for.
  std::optional<Message> receive(const std::string& address, double seconds,
                                 const std::function<void()>& meanwhile = {}) {
    std::optional<Message> found;
    holdsWithin(seconds, [&] {
      if (meanwhile) meanwhile();
      takePackets();
      for (std::size_t i = 0; i < messages_.size() && !found; ++i) {
        if (messages_[i].address() != address) continue;
        found = messages_[i];
        messages_.erase(messages_.begin() + static_cast<std::ptrdiff_t>(i));
      }
      return found.has_value();
    });
    return found;
  }
  void send(const Message& message) { sendBytes(message.encode()); }
  void sendBytes(std::span<const std::uint8_t> bytes) {
    ::sendto(socket_, bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr*>(&client_),
             sizeof(client_));
  }
  void sendTo(const sockaddr_in& other, const Message& message) {
    client_ = other;
    send(message);
  }
  const sockaddr_in& client() const { return client_; }

 private:
  void takePackets() {
    std::array<std::uint8_t, 4096> packet{};
    socklen_t length = sizeof(client_);
    for (;;) {
      sockaddr_in from{};
      const auto size =
          ::recvfrom(socket_, packet.data(), packet.size(), 0, reinterpret_cast<sockaddr*>(&from), &length);
      if (size < 0) return;
      client_ = from;
      if (auto message = Message::decode({packet.data(), static_cast<std::size_t>(size)})) {
        messages_.push_back(*message);
      }
    }
  }

  int socket_ = -1;
  std::uint16_t port_ = 0;
  sockaddr_in client_{};
  std::vector<Message> messages_;
};

}  // namespace morv
