#pragma once

#include <lv2/atom/atom.h>
#include <lv2/core/lv2.h>
#include <lv2/state/state.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "hosts/HostCycle.h"
#include "hosts/HostSurroundings.h"
#include "hosts/lv2/AtomOutput.h"
#include "hosts/lv2/ControlPort.h"
#include "hosts/lv2/HostFeatures.h"
#include "hosts/lv2/InstanceLog.h"
#include "hosts/lv2/InstanceMapper.h"
#include "hosts/lv2/PortWatch.h"
#include "hosts/lv2/QueueTurner.h"
#include "hosts/lv2/SnapshotGuard.h"
#include "hosts/lv2/StateEnvelope.h"
#include "hosts/lv2/Urids.h"
#include "platform/LockFreeRing.h"
#include "platform/MainQueue.h"
#include "platform/NotificationCenter.h"
#include "platform/Relaxed.h"
#include "unit/ZQ3Unit.h"
#include "unit/ZRAudioUnitDelegate.h"

namespace morv::lv2 {

// One instance of the plug-in: a unit, and the way of everything between it and an LV2 host.
//
// The unit's main queue is turned on the worker's thread, by a clock that counts the audio rendered. A state
// is read and checked on the thread that restores it and taken over by the render thread at the beginning of
// a cycle, ahead of what the ports and events of that cycle say, and of all that was asked for meanwhile: the
// later one wins. The operations are those of an LV2 descriptor, with its rules for threads.
class PluginInstance final : private ZRAudioUnitDelegate {
 public:
  // The host has a map. Settings, presets and mappings are those of the user.
  PluginInstance(double sampleRateHz, const HostFeatures& host);
  ~PluginInstance() override;

  void connectPort(std::uint32_t port, void* data) noexcept;
  // The next cycle sounds as the first one of a fresh instance with the present values would.
  void activate();
  void run(std::uint32_t frames) noexcept MORV_NONBLOCKING;
  void deactivate();

  LV2_State_Status save(LV2_State_Store_Function store, LV2_State_Handle handle);
  // What cannot be used is told to the log and changes nothing.
  LV2_State_Status restore(LV2_State_Retrieve_Function retrieve, LV2_State_Handle handle);
  void work() { turner_.runRequested(); }

  // What sounds, until the next activation.
  ZQ3Unit& unit() noexcept { return sounding_->unit; }

 private:
  // Longer names than any file system holds are cut.
  using PresetName = std::array<char, 256>;
  struct MidiOut {
    std::uint8_t length = 0;
    std::array<std::uint8_t, 3> bytes{};
  };
  // A restored state on its way to the render thread.
  struct PendingState {
    ZRStateChange change;
    std::vector<std::pair<std::uint32_t, float>> ports;
    PendingState* takenBefore = nullptr;
  };
  // The unit, and what hangs on it; both are made anew to sound fresh.
  struct Sounding {
    Sounding(const AudioUnitServices& services, std::optional<std::uint32_t> firstAddress)
        : unit(services, firstAddress), cycle(unit) {}
    // Times that state was put back, and samples that were silenced.
    std::uint64_t faults() const noexcept MORV_NONBLOCKING {
      return unit.recoveryCount() + cycle.numberlessSamples();
    }
    ZQ3Unit unit;
    HostCycle cycle;
  };

  void makeSounding(std::optional<std::uint32_t> firstAddress);
  bool allocate();
  void turnQueue();
  void doWaitingWork();
  void tellFaults();
  // The same, and what that asks for in turn.
  void doAllWaitingWork();
  std::vector<ControlPort> portsOfFreshUnit();
  std::string stateText() const;
  void takePending() noexcept MORV_NONBLOCKING;
  void takeOver(PendingState* pending) noexcept MORV_NONBLOCKING;
  void freeTakenOver() noexcept;
  void takePorts() noexcept MORV_NONBLOCKING;
  void readControl() noexcept MORV_NONBLOCKING;
  void readObject(std::uint32_t frame, const LV2_Atom_Object& object) noexcept MORV_NONBLOCKING;
  void readSet(std::uint32_t frame, const LV2_Atom_Object& object) noexcept MORV_NONBLOCKING;
  void readPut(std::uint32_t frame, const LV2_Atom_Object& object) noexcept MORV_NONBLOCKING;
  void set(std::uint32_t frame, LV2_URID property, const LV2_Atom& value) noexcept MORV_NONBLOCKING;
  bool isSubject(const LV2_Atom_Object& message) const noexcept MORV_NONBLOCKING;
  void readGet(std::uint32_t frame, const LV2_Atom_Object& object) noexcept MORV_NONBLOCKING;
  void writeNotices() noexcept MORV_NONBLOCKING;
  const ControlPort* portWithProperty(LV2_URID property) const noexcept MORV_NONBLOCKING;
  void audioUnitDidChangePreset(ZRAudioUnit* unit, const AUAudioUnitPreset* preset) override;
  void setPresetName(const std::string& name);
  void sendPresetName();
  void requestPreset() noexcept MORV_NONBLOCKING;

  const std::shared_ptr<InstanceLog> log_;
  const Urids urids_;
  const double sampleRateHz_;
  const std::shared_ptr<HostSurroundings> surroundings_;
  MainQueue queue_;
  // Guards the unit's main thread side: the queue's turns, saving, restoring, activation.
  mutable std::mutex mainMutex_;
  std::shared_ptr<InstanceMapper> mapper_;
  NotificationCenter::Token mappingObserver_ = 0;
  std::unique_ptr<Sounding> sounding_;
  std::vector<ControlPort> ports_;
  std::vector<std::pair<LV2_URID, std::size_t>> properties_;  // of ports, ascending
  PortWatch watch_;
  AtomOutput output_;
  SnapshotGuard changes_;
  bool isActive_ = false;
  std::string currentPreset_;               // its name; perhaps none
  std::atomic<bool> hasUnsentName_{false};  // of it, to the render thread
  std::string restoredText_;                // of the state that is pending, or was last

  std::atomic<PendingState*> pending_{nullptr};
  std::atomic<bool> isTaking_{false};              // the render thread is carrying out what was pending
  std::atomic<PendingState*> takenOver_{nullptr};  // the last of a chain, for a thread that may free
  std::atomic<std::uint64_t> playedFrames_{0};     // since construction
  std::atomic<bool> stateHasChanged_{false};
  std::atomic<int> presetRequestsWaiting_{0};
  std::atomic<std::uint64_t> toldFaults_{0};
  Relaxed<double> tempo_{0.0};                  // told last; 0 for none
  LockFreeRing<PresetName, 4> presetRequests_;  // from the render thread
  LockFreeRing<PresetName, 4> presetNames_;     // to it
  LockFreeRing<MidiOut, 128> midiOut_;          // to it

  // The render thread's own.
  PresetName presetName_{};
  bool isNameTold_ = true;     // to the host
  PresetName wantedPreset_{};  // by the host, on its way to the main queue
  bool isPresetWanted_ = false;
  std::int64_t expectingFrames_ = 0;  // for which ports may still be set to the restored session's values
  const LV2_Atom_Sequence* control_ = nullptr;
  LV2_Atom_Sequence* notify_ = nullptr;
  float* left_ = nullptr;
  float* right_ = nullptr;
  const float* freewheel_ = nullptr;

  QueueTurner turner_;  // ends first: it uses all above
};

}  // namespace morv::lv2
