#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "hosts/cli/MidiFile.h"
#include "platform/AUParameter.h"
#include "platform/AURenderEvent.h"

namespace morv::cli {

// All that happens in an offline render, on its sample clock, handed out block by block from front to back.
class Score {
 public:
  struct Move {
    AUEventSampleTime sampleTime = 0;
    AUParameter* parameter = nullptr;
    float value = 0;
  };

  // The sample nearest to a time of 0 or more seconds.
  static AUEventSampleTime sampleAt(double seconds, double sampleRateHz);

  Score(const MidiFile& file, double sampleRateHz);
  // Adds a parameter move; moves of one sample keep the order of adding. All come before the first `take...`.
  void addMove(double seconds, AUParameter* parameter, float value);

  // Time of the last MIDI event; 0 without any.
  double lastEventSeconds() const noexcept { return lastEventSeconds_; }
  // Frames to render: `seconds` if given, else the last event plus `tailSeconds`; in whole blocks.
  std::uint64_t lengthInFrames(std::optional<double> seconds, double tailSeconds,
                               std::uint32_t blockFrames) const;

  // The events, the moves and the tempo of the block that ends ahead of `end`. Each call goes on where the
  // one before ended.
  std::span<AURenderEvent> takeEvents(AUEventSampleTime end);
  std::span<const Move> takeMoves(AUEventSampleTime end);
  // Tempo in force at a sample, in beats per minute; samples do not fall from call to call.
  double tempoAt(AUEventSampleTime sample);

 private:
  struct TempoChange {
    AUEventSampleTime sampleTime;
    double tempo;
  };

  double sampleRateHz_;
  double lastEventSeconds_ = 0;
  std::vector<AURenderEvent> events_;
  std::vector<Move> moves_;
  std::vector<TempoChange> tempoChanges_;
  std::size_t nextEvent_ = 0;
  std::size_t nextMove_ = 0;
  std::size_t tempoIndex_ = 0;
};

}  // namespace morv::cli
