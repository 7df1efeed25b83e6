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

}  // namespace
}  // namespace morv::player
