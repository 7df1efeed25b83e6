#pragma once

#include <functional>
#include <string>

#include "platform/Result.h"

namespace morv::player {

// What the person at the terminal asked of a driver.
struct DriverOptions {
  using Log = std::function<void(const std::string& line)>;

  std::string clientName = "morv";
  bool connects = true;            // to physical ports by itself
  std::string device;              // empty for the system's choice
  unsigned int latencyFrames = 0;  // of one cycle; 0 for the driver's choice
  unsigned int sampleRateHz = 0;   // 0 for the device's own
  Log log;                         // what the person should know; never none
  Log details;                     // what only a curious one wants to know; never none
};

// Carries an engine's cycles to some sound system, and MIDI both ways. Main thread.
class AudioDriver {
 public:
  AudioDriver() = default;
  virtual ~AudioDriver() = default;
  AudioDriver(const AudioDriver&) = delete;
  AudioDriver& operator=(const AudioDriver&) = delete;

  // Makes connection and starts the cycles. The reason tells why there is nothing to play on.
  virtual Outcome open() = 0;
  // Ends the cycles; `open` may follow.
  virtual void close() = 0;
  // Looks after what has changed around it, some times a second: `seconds` is a clock that never goes back.
  // A sound system that went away is waited for, and tried once a second.
  virtual void turn(double seconds) = 0;
  // Whether cycles are running.
  virtual bool isRunning() const = 0;
};

}  // namespace morv::player
