#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <utility>

#include "hosts/player/OscSocket.h"
#include "tests/player/FakeManager.h"
#include "tests/player/Polling.h"

namespace morv::player {
namespace {

using testing::HasSubstr;
using testing::Optional;

constexpr double kPatienceSeconds = 20;

TEST(OscSocket, RefusesPlacesThatAreNone) {
  for (const char* url :
       {"", "osc.tcp://localhost:1/", "osc.udp://", "osc.udp://localhost", "osc.udp://localhost/",
        "osc.udp://localhost:/", "osc.udp://:1234/", "osc.udp://localhost:12x/", "localhost:1234"}) {
    const auto socket = OscSocket::to(url);
    ASSERT_FALSE(socket.ok()) << url;
    EXPECT_THAT(socket.reason(), HasSubstr("is not of the form osc.udp://HOST:PORT/")) << url;
  }
}

TEST(OscSocket, TakesAPlaceWithAndWithoutItsLastSlash) {
  EXPECT_TRUE(OscSocket::to("osc.udp://127.0.0.1:1234").ok());
  EXPECT_TRUE(OscSocket::to("osc.udp://127.0.0.1:1234/").ok());
}

TEST(OscSocket, ExchangesMessagesWithItsServer) {
  FakeManager server;
  const auto socket = OscSocket::to(server.url());
  ASSERT_TRUE(socket.ok()) << socket.reason();
  const OscMessage question("/question", {"what"});
  const OscMessage answer("/answer", {42});

  ASSERT_TRUE(socket.value().send(question).ok());
  EXPECT_THAT(server.receive("/question", kPatienceSeconds), Optional(question));
  server.send(answer);

  std::optional<OscMessage> received;
  EXPECT_TRUE(holdsWithin(kPatienceSeconds, [&] {
    received = socket.value().receive();
    return received.has_value();
  }));
  EXPECT_THAT(received, Optional(answer));
}

TEST(OscSocket, PassesOverStrangersAndWhatIsNoMessage) {
  FakeManager server;
  FakeManager stranger;
  const auto socket = OscSocket::to(server.url());
  ASSERT_TRUE(socket.ok()) << socket.reason();
  ASSERT_TRUE(socket.value().send(OscMessage("/here")).ok());
  ASSERT_TRUE(server.receive("/here", kPatienceSeconds).has_value());

  stranger.sendTo(server.client(), OscMessage("/wrong"));
  server.sendBytes(std::vector<std::uint8_t>{1, 2, 3});
  server.send(OscMessage("/right"));

  std::optional<OscMessage> received;
  EXPECT_TRUE(holdsWithin(kPatienceSeconds, [&] {
    received = socket.value().receive();
    return received.has_value();
  }));
  EXPECT_THAT(received, Optional(OscMessage("/right")));
  EXPECT_EQ(socket.value().receive(), std::nullopt);
}

sockaddr_storage addressOf(const char* host, std::uint16_t port) {
  sockaddr_storage address{};
  auto& four = reinterpret_cast<sockaddr_in&>(address);
  auto& six = reinterpret_cast<sockaddr_in6&>(address);
  if (inet_pton(AF_INET, host, &four.sin_addr) == 1) {
    four.sin_family = AF_INET;
    four.sin_port = htons(port);
  } else {
    EXPECT_EQ(inet_pton(AF_INET6, host, &six.sin6_addr), 1) << host;
    six.sin6_family = AF_INET6;
    six.sin6_port = htons(port);
  }
  return address;
}

TEST(OscSocket, KnowsAnEndByItsHostAndItsPort) {
  const sockaddr_storage server = addressOf("192.0.2.7", 4000);
  EXPECT_TRUE(OscSocket::isSameEnd(addressOf("192.0.2.7", 4000), server));
  EXPECT_FALSE(OscSocket::isSameEnd(addressOf("192.0.2.7", 4001), server));
  EXPECT_FALSE(OscSocket::isSameEnd(addressOf("192.0.2.8", 4000), server));
  EXPECT_FALSE(OscSocket::isSameEnd(addressOf("127.0.0.1", 4000), server));
  EXPECT_FALSE(OscSocket::isSameEnd(server, addressOf("127.0.0.1", 4000)));
  EXPECT_FALSE(OscSocket::isSameEnd(addressOf("2001:db8::7", 4000), server));

  const sockaddr_storage newer = addressOf("2001:db8::7", 4000);
  EXPECT_TRUE(OscSocket::isSameEnd(addressOf("2001:db8::7", 4000), newer));
  EXPECT_FALSE(OscSocket::isSameEnd(addressOf("2001:db8::8", 4000), newer));
  EXPECT_FALSE(OscSocket::isSameEnd(addressOf("2001:db8::7", 4001), newer));
  EXPECT_FALSE(OscSocket::isSameEnd(addressOf("::1", 4000), newer));
}

// The name of this machine often stands for 127.0.1.1, and what answers from there does so from 127.0.0.1.
TEST(OscSocket, TakesAllOfTheLoopbackForOneHost) {
  EXPECT_TRUE(OscSocket::isSameEnd(addressOf("127.0.0.1", 4000), addressOf("127.0.1.1", 4000)));
  EXPECT_FALSE(OscSocket::isSameEnd(addressOf("127.0.0.1", 4001), addressOf("127.0.1.1", 4000)));
}

}  // namespace
}  // namespace morv::player
