#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/AUAudioUnit.h"
#include "platform/AUParameterGroup.h"
#include "platform/AURenderEvent.h"
#include "platform/Export.h"
#include "platform/NonBlocking.h"
#include "platform/Relaxed.h"
#include "unit/AudioUnitServices.h"
#include "unit/ZRAudioUnitDelegate.h"

namespace morv {

class ZRDSPModMatrix;
class ZRDSPParameter;

// General shell of a unit: settings, tempo, mute, the making of parameter groups, the ear on incoming MIDI.
//
// Main thread, except where an operation says otherwise.
class MORV_EXPORT ZRAudioUnit : public AUAudioUnit {
 public:
  // Hears each MIDI event ahead of the instrument, on the render thread; answers 0.
  using MIDIMonitorBlock = std::function<int(AUEventSampleTime eventSampleTime, std::uint8_t cable,
                                             std::uint16_t length, const std::uint8_t* bytes)>;
  // Takes controller messages: controller and value 0 to 127, channel 1 to 16. Render thread; must not block.
  using MIDIControllerHandler = std::function<void(int controller, int value, int channel)>;

  explicit ZRAudioUnit(const AudioUnitServices& services, const AudioComponentDescription& description = {});
  ~ZRAudioUnit() override;

  // Builds the tree of all parameters; here an empty one.
  virtual std::shared_ptr<AUParameterTree> generateParameterTree();
  // Makes a group of tree parameters after the given records, values included, and remembers it in
  // `parameterGroups`. A parameter that reaches below 0 gets no value strings.
  std::shared_ptr<AUParameterGroup> createGroupWithId(const std::string& identifier, const std::string& name,
                                                      const std::vector<ZRDSPParameter*>& ZRDSPParameters,
                                                      std::int64_t groupAddressOffset);
  AUParameterTree* parameterTree() const override { return parameterTree_.get(); }
  // All groups ever made, in order.
  const std::vector<std::shared_ptr<AUParameterGroup>>& parameterGroups() const { return parameterGroups_; }

  // The platform's state and, under "modMatrixDict", one dictionary for each row of the matrix, by the row's
  // identifier: "modSourceIndex" (integer) and "modAmount" (real) of its second source, and "value" (real) of
  // its depth where it has one.
  PropertyListDictionary fullState() const override;
  // Takes a state over and drives every value into the engine. The user's MIDI mode and channel win over the
  // state's while `overridesMIDISettingParametersWithPrefs`. A row that is not known, and a number that is
  // not finite or no source, is passed over. A state that the platform's form refuses is logged and tried
  // again, as the unit then is, a second later. Null is a state without anything. Main thread; may run beside
  // the render block.
  void setFullState(const PropertyListDictionary* state) override;
  // Drives the present state into the engine once more.
  void reloadParameters();

  // The matrix that views edit; here none.
  virtual ZRDSPModMatrix* getModMatrix() const;
  // Changes to the preset of that number; a MIDI program change ends here. Main queue. This class has no
  // presets and does nothing; the preset store overrides it.
  virtual void setCurrentPresetWithIndex(int index);
  // Answers a change of a setting. On the main queue, whatever thread made the change.
  virtual void prefsChanged();
  // Sounds again. Any thread.
  void unmute() noexcept { setIsMuted(false); }

  // Built at the first call and kept; later calls and the render thread share it. Of all messages only
  // controllers go further, to the controller handler.
  const MIDIMonitorBlock& midiMonitorBlock();
  // Set while not rendering.
  void setMidiControllerHandler(MIDIControllerHandler handler) {
    midiControllerHandler_ = std::move(handler);
  }
  // Render thread: has the main queue tell the delegate of a note.
  void postVoiceTriggered(int note) noexcept MORV_NONBLOCKING;
  // Render thread: has the main queue call `setCurrentPresetWithIndex`. Lost when the queue's ring is full.
  void postProgramChange(int program) noexcept MORV_NONBLOCKING;

  // Send MIDI to the host, on channel 1 except for the controller's channel of 0 to 15, and tell the
  // delegate. Nothing goes to the host if the first byte is 0 or no host listens.
  void outputMIDI(const std::uint8_t* bytes, std::size_t len);
  // Note on, and off a tenth of a second later. Main thread, like all below.
  void outputMIDINote(int note, int velocity);
  void outputMIDINote(int note) { outputMIDINote(note, 127); }
  void outputMIDICC(int controller, int value, int channel);
  // Note off, with velocity 0.
  void resetNote(int note);
  void resetNoteWith(int note) { resetNote(note); }

  // Any thread; beats per minute, 0 until a host gives one.
  virtual void setTempo(float beatsPerMinute) noexcept MORV_NONBLOCKING { tempo_ = beatsPerMinute; }
  float tempo() const noexcept { return tempo_; }
  // Any thread; takes effect at the next block.
  void setIsMuted(bool muted) noexcept { isMuted_ = muted; }
  bool isMuted() const noexcept { return isMuted_; }
  // Any thread. The delegate belongs to the caller and is taken back, by setting none, before it goes.
  void setDelegate(ZRAudioUnitDelegate* delegate) noexcept { delegate_ = delegate; }
  ZRAudioUnitDelegate* delegate() const noexcept { return delegate_; }

  // Name of the settings suite that unit and view share.
  const std::string& groupIdentifier() const noexcept { return groupIdentifier_; }
  // That suite.
  SettingsStore& defaults() const noexcept { return *services_.sharedSettings; }
  SettingsStore& standardDefaults() const noexcept { return *services_.standardSettings; }
  MainQueue& mainQueue() const noexcept { return *services_.mainQueue; }

  // Stored for whoever sets them; nothing in this class reads them.
  float sampleRate = 0;
  std::uint32_t blockSize = 0;
  int transportState = 0;
  std::int32_t hostCurrentSampleTime = 0;
  bool mergeInputs = false;
  bool overridesMIDISettingParametersWithPrefs = false;

 protected:
  void setParameterTree(std::shared_ptr<AUParameterTree> tree) { parameterTree_ = std::move(tree); }
  // A line for the log.
  void log(const std::string& line) const;
  // Runs work on the main queue after a time, unless the unit has gone by then.
  MainQueue::Token performAfter(double seconds, std::function<void()> work);

 private:
  void observe(SettingsStore& store, SettingsStore::ObserverToken* token);
  void restoreRows(const PropertyListDictionary& rows);
  void pushParameters();
  int monitorMidi(std::uint16_t length, const std::uint8_t* bytes) noexcept;

  AudioUnitServices services_;
  std::string groupIdentifier_;
  std::shared_ptr<AUParameterTree> parameterTree_;
  std::vector<std::shared_ptr<AUParameterGroup>> parameterGroups_;
  MIDIMonitorBlock midiMonitorBlock_;
  MIDIControllerHandler midiControllerHandler_;
  std::atomic<ZRAudioUnitDelegate*> delegate_{nullptr};
  Relaxed<float> tempo_{0.0F};
  Relaxed<bool> isMuted_{false};
  std::int32_t voiceTriggeredKind_ = 0;
  std::int32_t programChangeKind_ = 0;
  SettingsStore::ObserverToken standardToken_ = 0;
  SettingsStore::ObserverToken sharedToken_ = 0;
  // What waits on the main queue holds this weakly, so that it falls away with the unit.
  std::shared_ptr<ZRAudioUnit*> self_;
};

}  // namespace morv
