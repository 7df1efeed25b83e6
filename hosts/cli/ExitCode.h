#pragma once

namespace morv::cli {

// What the program tells the shell.
enum class ExitCode : int {
  ok = 0,
  failure = 1,        // nothing of the below
  usage = 2,          // the command line itself is wrong
  badInput = 3,       // an input file cannot be read or holds nonsense
  outputFailed = 4,   // the result cannot be written
  device = 5,         // an audio or MIDI device does not serve
  hungUp = 129,       // SIGHUP ended the player: 128 and its number
  interrupted = 130,  // SIGINT did
  terminated = 143,   // SIGTERM did
};

}  // namespace morv::cli
