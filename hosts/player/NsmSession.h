#pragma once

#include <functional>
#include <string>

#include "hosts/player/OscSocket.h"
#include "platform/Result.h"

namespace morv::player {

// This program as a client of a session manager that speaks the NSM protocol, version 1.1: it announces
// itself, and then does what the manager asks. Main thread; nothing waits.
class NsmSession {
 public:
  // What the manager asks for. A reason goes to the manager.
  struct Handlers {
    // Leave what was open, take up what lies below the path, if anything, and appear under the identifier
    // to others.
    std::function<Outcome(const std::string& path, const std::string& clientId)> open;
    // Keep everything below the path given last.
    std::function<Outcome()> save;
  };
  static constexpr double kSecondsForAnswer = 5;

  // `url` as in the variable NSM_URL; `executable` is what a shell would start.
  static Result<NsmSession> connect(const std::string& url, const std::string& executable, Handlers handlers);

  // Answers all that has come. `seconds` is a clock that never goes back. Fails for good if the manager
  // refuses this client, or has not answered the announcement in time.
  Outcome turn(double seconds);
  // Tells the manager whether there is anything to save, if that is news.
  void tellDirty(bool isDirty);

  bool isOpen() const noexcept { return isOpen_; }
  int descriptor() const noexcept { return socket_.descriptor(); }

 private:
  NsmSession(OscSocket socket, Handlers handlers);
  Outcome handle(const OscMessage& message);
  // Tells how a request came out.
  void answer(const std::string& request, const Outcome& outcome, int errorCode);

  OscSocket socket_;
  Handlers handlers_;
  double announced_ = -1;  // on the clock of `turn`
  bool isWelcome_ = false;
  bool isOpen_ = false;
  bool isDirty_ = false;
};

}  // namespace morv::player
