#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/AUAudioUnit.h"
#include "platform/AUAudioUnitPreset.h"
#include "platform/AUParameterGroup.h"
#include "platform/AURenderEvent.h"
#include "platform/CloudContainer.h"
#include "platform/Export.h"
#include "platform/NonBlocking.h"
#include "platform/Random.h"
#include "platform/Relaxed.h"
#include "unit/AudioUnitServices.h"
#include "unit/Registrations.h"
#include "unit/WaitingPresets.h"
#include "unit/ZRAudioUnitDelegate.h"
#include "unit/ZRStateChange.h"

namespace morv {

class ZRDSPModMatrix;
class ZRDSPParameter;

// General shell of a unit: settings, tempo, mute, the making of parameter groups, state, presets, the ear on
// incoming MIDI.
//
// Presets. The list holds factory presets, the user's and those of preset packs side by side; the name alone
// tells them apart: an owner mark ("[FACTORY]" or "[USER]"), perhaps a category, and a short name, joined by
// "_". Files are property lists of the full state, "<name>.aupreset". There are two storage locations, of
// which one is active. Local (0): the setting "presets" is the store; factory files come into it at each
// rebuild of the list, and a save is mirrored into the user's documents. Cloud (1): the folder
// "Documents/Presets" of the cloud container is the store. What goes wrong with files is logged and changes
// nothing else; names are taken as they are.
// A pack is a folder in the resources' "Packs"; whatever in it is no file that ends in ".aupreset" is passed
// over without a word. The unit turns to another cloud folder when the settings name one, and to a new one in
// the old one's place five seconds after it came.
//
// Main thread, except where an operation says otherwise.
class MORV_EXPORT ZRAudioUnit : public AUAudioUnit {
 public:
  // Hears each MIDI event ahead of the instrument, on the render thread; answers 0.
  using MIDIMonitorBlock = std::function<int(AUEventSampleTime eventSampleTime, std::uint8_t cable,
                                             std::uint16_t length, const std::uint8_t* bytes)>;
  // Throws std::invalid_argument if a service that is needed is missing. Nothing is left with services then.
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
  // not finite or no source, is passed over; an amount is held within 1000, a depth in its range. A state
  // that the platform's form refuses is logged and tried again, as the unit then is, a second later. Null is
  // a state without anything. Main thread; may run beside the render block.
  void setFullState(const PropertyListDictionary* state) override;
  // The two halves of `setFullState`, for hosts that take a state over between two blocks. The first reads
  // and checks, and sets nothing; it throws std::invalid_argument if the platform's form refuses the state.
  // The second stores the numbers: render thread as long as nobody observes the tree, or any other thread.
  // It may run beside the render block and beside those who set and read values.
  ZRStateChange prepareFullState(const PropertyListDictionary& state);
  void applyFullState(const ZRStateChange& change) noexcept MORV_NONBLOCKING;
  // Drives the present state into the engine once more.
  void reloadParameters();

  // The matrix that views edit; here none.
  virtual ZRDSPModMatrix* getModMatrix() const;
  // The list in its sorted order, built if there is none. `number` is the place in the order of the keys, in
  // which the packs start anew, and not the place in the list.
  std::vector<AUAudioUnitPreset> factoryPresets();
  // None until one has been applied.
  const std::optional<AUAudioUnitPreset>& currentPreset() const noexcept { return preset; }
  // Applies the state of a preset, muted for half a second, and tells the delegate ahead and behind. One
  // without a state, or none at all, leaves the sound as it is.
  void setCurrentPreset(const std::optional<AUAudioUnitPreset>& newPreset);
  // By place in the list, or, with the setting "MIDIprogramChangeTarget" other than 0, in the favourites; a
  // place that is in neither applies none. Throws std::out_of_range for the list's very length. A MIDI
  // program change ends here.
  virtual void setCurrentPresetWithIndex(std::int32_t index);
  // The first preset of exactly this name; without one nothing happens.
  void setCurrentPresetWithName(const std::string& name);
  // By the current preset's `number`, so not always the neighbour in the list; may throw as above.
  void presetUp();
  void presetDown();
  // One at random; nothing in an empty list.
  void setRandomPreset();
  // Calls it each second from now on: a soak test.
  void startRandomPresetTest();
  // Stores the present state as a new preset, at the end of the list until the next rebuild, and makes it
  // current.
  AUAudioUnitPreset writePresetWithName(const std::string& name, std::int64_t number);
  // The same with a given state. The preset becomes current before it is stored, so that a new name does not
  // change the sound.
  AUAudioUnitPreset writePresetWithName(const std::string& name, std::int64_t number,
                                        const PropertyListDictionary& date);
  // Stores the present state under the current preset's name, whoever's preset it is.
  void saveChangesToCurrentPreset();
  // Not one of the factory. The current preset and the favourites stay as they are, and in local mode the
  // mirrored file.
  void deletePresetWithName(const std::string& name);
  // What the local store holds for a preset.
  std::optional<PropertyListDictionary> dataForPreset(const AUAudioUnitPreset& wanted) const;
  // Where a preset's file lies; none in local mode for a preset without one.
  std::optional<std::string> filePathForPreset(const AUAudioUnitPreset& wanted) const;
  // True for any name without "[USER]".
  static bool presetIsFactoryPresett(const AUAudioUnitPreset& asked);
  // Local: the factory's files. Cloud: the bare names in its folder.
  std::vector<std::string> presetFilesPaths() const;
  // Makes 0 or 1 the active location, and rebuilds the list there. False without a cloud container: the
  // location has changed all the same, and nothing else has.
  bool setStorageLocation(int location);
  bool iCloudIsAvailable() const;
  // Empty without a container.
  std::string iCloudBaseFolder() const;
  // Has the list rebuilt five seconds after the last call.
  void iCloudDataChanged();

  // Answers a change of a setting. On the main queue, whatever thread made the change.
  virtual void prefsChanged();
  // Sounds again. Any thread.
  void unmute() noexcept { setIsMuted(false); }

  // Built at the first call and kept; later calls and the render thread share it. Of all messages only
  // controllers go further: the main queue hands them to the mapper.
  const MIDIMonitorBlock& midiMonitorBlock();
  ZRMidiMapper* midiMapper() const noexcept { return services_.midiMapper.get(); }
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
  // Folder of what the group shares; may be empty.
  const std::string& groupFolderPath() const noexcept { return services_.directories.data; }
  // That suite.
  SettingsStore& defaults() const noexcept { return *services_.sharedSettings; }
  SettingsStore& standardDefaults() const noexcept { return *services_.standardSettings; }
  MainQueue& mainQueue() const noexcept { return *services_.mainQueue; }
  const AudioUnitServices& services() const noexcept { return services_; }

  // Stored for whoever sets them; nothing in this class reads them.
  float sampleRate = 0;
  std::uint32_t blockSize = 0;
  int transportState = 0;
  std::int32_t hostCurrentSampleTime = 0;
  bool mergeInputs = false;
  bool overridesMIDISettingParametersWithPrefs = false;

 protected:
  void setParameterTree(std::shared_ptr<AUParameterTree> tree) { parameterTree_ = std::move(tree); }
  const std::shared_ptr<AUParameterTree>& sharedParameterTree() const { return parameterTree_; }
  // Controllers reach the unit's present tree from now on, and none of its trees once the unit is gone.
  void handTreeToMapper();
  using Log = std::function<void(const std::string& line)>;
  // Makes a folder of the cloud, with all above it; true if it was missing and is there now. Any thread.
  static bool _createFolderIfNecesarry(const CloudContainer& cloud, const std::string& folder,
                                       const Log& log);
  // Sets the permissions of a folder of the cloud that is there to 777, which counts in tens: owner read, all
  // others execute, and the sticky bit. Nothing calls it.
  bool _makeFolderWritable(const std::string& folder) const;
  // Brings settings to the disk; what fails is logged.
  void synchronize(SettingsStore& settings) const;
  // A line for the log.
  void log(const std::string& line) const;
  // Runs work on the main queue after a time, unless the unit has gone by then.
  MainQueue::Token performAfter(double seconds, std::function<void()> work);

 private:
  void useMapperOfProcess();
  void observe(SettingsStore& store);
  std::int32_t handleFromRender(std::function<void(std::int32_t value)> handler);
  PropertyListDictionary storedPresets() const;
  void storeWaitingPresets();
  void readPresetFiles(PropertyListDictionary* presets);
  void readPacks();
  std::optional<PropertyListDictionary> readPresetFile(const std::string& path) const;
  void applyLocalPreset(const std::string& name);
  void applyCloudPreset(const std::string& name);
  void storePreset(const std::string& name, const PropertyListDictionary& state);
  std::string cloudPathOf(const std::string& name) const;
  std::string documentPathOf(const std::string& name) const;
  void tellOfPreset(void (ZRAudioUnitDelegate::*tell)(ZRAudioUnit*, const AUAudioUnitPreset*));
  void programChanged(std::int32_t program);
  void _initCloudStorage();
  void _migrateToiCloud();
  void _reloadiCloudData();
  void iCloudQuery();
  // In cloud mode begins anew if another folder is the cloud, or none, or one again; tells whether it did.
  bool followCloudFolder();
  // A line for the log: files and locks fail with words of their own.
  static std::string lineOfCloudFailure(const Failure& failure);
  void randomPresetTestTick();
  std::vector<ZRStateChange::Row> restoredRows(const PropertyListDictionary& state) const;
  std::optional<ZRStateChange::MidiSettings> overridingMidiSettings() const;
  static void applyRows(const std::vector<ZRStateChange::Row>& rows) noexcept MORV_NONBLOCKING;
  void pushParameters(const std::optional<ZRStateChange::MidiSettings>& midi) noexcept MORV_NONBLOCKING;
  int monitorMidi(std::uint16_t length, const std::uint8_t* bytes) noexcept;

  AudioUnitServices services_;
  // The list; none means that it has to be built.
  std::optional<std::vector<AUAudioUnitPreset>> factoryPresetsInternal;
  WaitingPresets waitingPresets_;              // local ones, until the settings have taken them
  PropertyListDictionary packPresetsInternal;  // states of the packs' presets, by name
  std::int32_t presetSource = 0;               // 0 local, 1 cloud
  bool didLoadPresetsFromDisk = false;      // tested in a rebuild; nothing sets it, so files are always read
  std::optional<AUAudioUnitPreset> preset;  // the current one
  std::optional<PropertyListValue::Data> currentiCloudToken;
  std::shared_ptr<CloudContainer> cloud_;
  MainQueue::Token cloudReload_ = 0;
  Random random_{1};
  std::string groupIdentifier_;
  std::shared_ptr<AUParameterTree> parameterTree_;
  std::weak_ptr<AUParameterTree> mappedTree_;  // the one that the mapper has
  std::vector<std::shared_ptr<AUParameterGroup>> parameterGroups_;
  MIDIMonitorBlock midiMonitorBlock_;
  std::atomic<ZRAudioUnitDelegate*> delegate_{nullptr};
  Relaxed<float> tempo_{0.0F};
  Relaxed<bool> isMuted_{false};
  std::int32_t voiceTriggeredKind_ = 0;
  std::int32_t programChangeKind_ = 0;
  std::int32_t controllerKind_ = 0;
  // What waits on the main queue holds this weakly, so that it falls away with the unit.
  std::shared_ptr<ZRAudioUnit*> self_;
  Registrations registrations_;  // goes first
};

}  // namespace morv
