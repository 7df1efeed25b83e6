#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "platform/Export.h"
#include "platform/NonBlocking.h"
#include "render/ZRDSPParameter.h"

namespace morv {

// Base of everything with settings: the instrument, voices, oscillators, filters, envelopes, effects. It
// keeps a registry from address to the parameter records that its subclass holds as members.
//
// Construction and registration: one thread. Setting and reading values: any thread, without a lock.
class MORV_EXPORT ZRDSPEntity {
 public:
  explicit ZRDSPEntity(float sampleRateHz);
  ZRDSPEntity(float sampleRateHz, int firstParameterAddress);
  // An index above 0 makes `indexSuffix` " " and the index.
  ZRDSPEntity(float sampleRateHz, int firstParameterAddress, int entityIndex);
  virtual ~ZRDSPEntity();
  ZRDSPEntity(const ZRDSPEntity&) = delete;
  ZRDSPEntity& operator=(const ZRDSPEntity&) = delete;

  // The registered parameters in ascending order of address; one that depends on another's value is listed
  // only while that value stands. The list is the caller's own, so walks on several threads do not meet. Not
  // for the render thread: it allocates.
  virtual std::vector<ZRDSPParameter*> parameters();
  // Puts the record into the registry under its address, or under the next free one if it has none. An
  // address that is taken keeps its first record. The process's address counter moves by one in every case.
  // Construction only.
  virtual void registerParameter(ZRDSPParameter* parameter);
  // Address of the first listed parameter with this identifier; 0 when there is none. Not for the render
  // thread.
  virtual int addressForIdentifier(const std::string& identifier);
  // The registered record. Throws std::out_of_range for an unknown address. Not for the render thread.
  virtual ZRDSPParameter* parameterForAddress(int address);
  // Stores value and quotient, without clamping. An unknown address posts a diagnostic and changes nothing.
  // Any thread.
  virtual void setParameterValueForAddress(int address, float value) noexcept MORV_NONBLOCKING;
  // The record's value. Here: throws std::out_of_range for an unknown address, so not for the render thread.
  virtual float parameterValueForAddress(int address);

  // Fills the record; a negative address takes the process's next one. Unregistered records keep their value
  // and are read by audio code, but no address reaches them and the counter does not move for them.
  void initParameter(const std::string& parameterIdentifier, const std::string& parameterName, int address,
                     float minValue, float maxValue, const std::vector<std::string>& valueStrings,
                     ZRDSPParameterUnit unit, float defaultValue, ZRDSPParameter* parameter,
                     bool doRegister = true);
  // The same from a table row; the row's flags replace the default ones, `indexSuffix` is not added.
  void initParameter(const ParameterRow& row, int address, ZRDSPParameter* parameter, bool doRegister = true);

  // Gives registered parameters whose value is not finite the one that they were filled with. Render thread.
  void mendParameters() noexcept MORV_NONBLOCKING;

  // Number of registered parameters.
  int numberOfParameters() const { return static_cast<int>(registry_.size()); }
  // Empties the registry. Construction only.
  void clearParamters();
  // The record at an address if it is listed now, else none. Any thread, no allocation.
  ZRDSPParameter* listedParameter(int address) const noexcept MORV_NONBLOCKING;

  static float clamp(float value, float low, float high) noexcept MORV_NONBLOCKING;
  // Frequency of a period; the period is in seconds, whatever the name says.
  static float msToHz(float periodSeconds) noexcept MORV_NONBLOCKING;
  // Length in seconds of numerator/denominator of a four-beat bar at a tempo.
  static float timeDivisionToPeriod(float numerator, float denominator, float bpm) noexcept MORV_NONBLOCKING;
  // The same as a frequency in Hz.
  static float timeDivisionToFrequency(float numerator, float denominator,
                                       float bpm) noexcept MORV_NONBLOCKING;
  // Frequency ratio of an interval in semitones.
  static float pitchShift(float semitones) noexcept MORV_NONBLOCKING;
  // Interval in semitones between two frequencies in Hz.
  static float semitonesBetweenFrequencies(float from, float to) noexcept MORV_NONBLOCKING;

  // The process's address counter, shared by all entities of all instruments; nothing resets it. Construction
  // of entities is single-threaded per process (ZQ3DSPKernel::init holds a lock around it).
  static std::uint32_t addr;

  float sampleRate;        // Hz
  int blockSize = 0;       // frames per block
  std::string identifier;  // group identifier
  std::string name;        // group name, and default name of the entity's modulation source
  int index = 0;           // number of this entity among its like
  std::string indexSuffix;
  int firstAddress = 0;

  // The entity as a source of modulation: whether it is one, its source index in the matrix, how many outputs
  // it has and their indices, whether the user is offered it, whether it swings to both sides.
  bool isModSource = false;
  int modSourceIndex = 0;
  int numModOutputs = 0;
  std::vector<int> modOutputSources;
  bool isPublicModSource = false;
  bool isBipolarModSource = false;

 private:
  // The record at an address, or none.
  ZRDSPParameter* registered(int address) const noexcept MORV_NONBLOCKING;
  bool isListed(const ZRDSPParameter& parameter) const noexcept MORV_NONBLOCKING;

  std::vector<std::pair<int, ZRDSPParameter*>> registry_;  // ascending by address
};

}  // namespace morv
