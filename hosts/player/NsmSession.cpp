#include "hosts/player/NsmSession.h"

#include <unistd.h>

#include <utility>

namespace morv::player {
namespace {

constexpr const char* kAnnounce = "/nsm/server/announce";
constexpr const char* kOpen = "/nsm/client/open";
constexpr const char* kSave = "/nsm/client/save";
constexpr const char* kReply = "/reply";
constexpr const char* kError = "/error";
// What this client can do besides the necessary: tell whether it has changes, and go over to another session
// without being started anew.
constexpr const char* kCapabilities = ":dirty:switch:";
constexpr const char* kApplicationName = "MORV";
constexpr int kApiMajor = 1;
constexpr int kApiMinor = 1;
constexpr int kGeneralError = -1;
constexpr int kNoSessionOpen = -6;

}  // namespace

NsmSession::NsmSession(OscSocket socket, Handlers handlers)
    : socket_(std::move(socket)), handlers_(std::move(handlers)) {}

Result<NsmSession> NsmSession::connect(const std::string& url, const std::string& executable,
                                       Handlers handlers) {
  auto socket = OscSocket::to(url);
  if (!socket) return socket.failure();
  const OscMessage announcement(kAnnounce, {kApplicationName, kCapabilities, executable, kApiMajor, kApiMinor,
                                            static_cast<std::int32_t>(::getpid())});
  if (const Outcome sent = socket.value().send(announcement); !sent.ok()) return sent.failure();
  return NsmSession(std::move(socket).value(), std::move(handlers));
}

Outcome NsmSession::turn(double seconds) {
  if (announced_ < 0) announced_ = seconds;
  while (const auto message = socket_.receive()) {
    if (Outcome done = handle(*message); !done.ok()) return done;
  }
  if (!isWelcome_ && seconds - announced_ > kSecondsForAnswer) {
    return Failure{"the session manager does not answer"};
  }
  return Done{};
}

Outcome NsmSession::handle(const OscMessage& message) {
  const std::string& address = message.address();
  if (address == kReply && message.textAt(0) == kAnnounce) {
    isWelcome_ = true;
  } else if (address == kError && message.textAt(0) == kAnnounce) {
    return Failure{"the session manager refuses: " + message.textAt(2)};
  } else if (address == kOpen && message.types().starts_with("sss")) {
    isWelcome_ = true;
    const Outcome opened = handlers_.open(message.textAt(0), message.textAt(2));
    isOpen_ = isOpen_ || opened.ok();
    if (opened.ok()) tellDirty(false);
    answer(kOpen, opened, kGeneralError);
  } else if (address == kSave && !isOpen_) {
    answer(kSave, Failure{"no session is open"}, kNoSessionOpen);
  } else if (address == kSave) {
    const Outcome saved = handlers_.save();
    if (saved.ok()) tellDirty(false);
    answer(kSave, saved, kGeneralError);
  }
  return Done{};
}

void NsmSession::tellDirty(bool isDirty) {
  if (isDirty == isDirty_) return;
  isDirty_ = isDirty;
  static_cast<void>(socket_.send(OscMessage(isDirty ? "/nsm/client/is_dirty" : "/nsm/client/is_clean")));
}

void NsmSession::answer(const std::string& request, const Outcome& outcome, int errorCode) {
  const OscMessage message = outcome.ok() ? OscMessage(kReply, {request, "OK"})
                                          : OscMessage(kError, {request, errorCode, outcome.reason()});
  static_cast<void>(socket_.send(message));
}

}  // namespace morv::player
