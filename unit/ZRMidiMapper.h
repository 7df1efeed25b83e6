#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/AUParameterTree.h"
#include "platform/Directories.h"
#include "platform/Export.h"
#include "platform/NotificationCenter.h"
#include "platform/SettingsStore.h"

namespace morv {

// What the mapper asks of its surroundings.
struct MidiMapperServices {
  SettingsStore* standardSettings = nullptr;    // without any the channel stays as it is
  NotificationCenter* notifications = nullptr;  // may be none
  Directories directories{};                    // without a data folder the table lives in memory alone
  std::function<void(const std::string& line)> log{};  // may be none
};

// Turns controller messages into parameter changes, by a table from controller number to parameter address
// that the user fills, by typing or by learning from the next controller that moves. The table is kept in a
// file of its own, "MIDIMappings/default.midimap" in the data folder, so that it outlasts all presets: a
// property list with the controllers as keys and the addresses as integers. An unreadable file counts as a
// missing one; an entry that is none is left out.
//
// An address of -1 stands for a controller that drives nothing.
//
// Any thread but the render thread: units hand controllers over from there through their main queues, of
// which a process may have several. A change of a parameter goes through the tree like any other, with no
// lock held. The notification is posted, and the log written, from inside the mapper: those who hear of it
// wait for no other thread.
class MORV_EXPORT ZRMidiMapper {
 public:
  // Controller number to address.
  using Mapping = std::map<int, std::int64_t>;

  using Loan = std::uint64_t;

  // How the addresses of a unit lie to those of the first unit of a process, which draws them from 0 on:
  // those at `from` and above have moved up by `by`, those below are alike in all units.
  struct AddressShift {
    std::int64_t from = 0;
    std::int64_t by = 0;
  };

  // The one mapper of the process: made at the first use, with nothing to work on but a table in memory, and
  // there until the process ends. Units lend it their services.
  static std::shared_ptr<ZRMidiMapper> sharedObject();

  // Services of its own, which outlive it.
  explicit ZRMidiMapper(MidiMapperServices services = {});
  virtual ~ZRMidiMapper();
  ZRMidiMapper(const ZRMidiMapper&) = delete;
  ZRMidiMapper& operator=(const ZRMidiMapper&) = delete;

  // Works with these services until they are taken back or others are lent; then again with the last ones
  // still lent, or its own. With another folder comes the table of that folder, and with none a table in
  // memory. The services may end when `takeBackServices` has returned, which waits for their use on other
  // threads. What throws on the way in leaves the mapper as it was, with nothing lent.
  Loan lendServices(const MidiMapperServices& services);
  void takeBackServices(Loan loan);

  // The parameters that controllers reach; loads the table or makes the default one again. They reach the
  // tree that was set last among those that are still there and were not taken back; null forgets them all.
  void setParameterTree(const std::shared_ptr<AUParameterTree>& tree);
  // A tree that was never set is no error. The table stays as it is.
  void takeBackParameterTree(const std::shared_ptr<AUParameterTree>& tree);
  // Has the file mean the parameters by the addresses of a first unit from now on, whatever they are in this
  // one, so that all units of all processes read the same from it. Loads the table or makes the default one
  // again. An address that no unit of this shift has counts as nothing in the file. Without a call the file
  // holds the addresses as they are.
  void setAddressShift(AddressShift shift);
  // Takes the table from the file again, which another mapper has written. Without one it stays as it is.
  void reloadMapping();
  // Controller and value 0 to 127, channel 1 to 16 or 0 for a message without one. True if the message was
  // used. The setting "midiChannel" N admits channel N - 1, 0 admits all. In learn mode the controller goes
  // to the waiting parameter, which loses its former one, and "midiMappingChanged" is posted; otherwise its
  // parameter moves: indexed ones to floor(n maximum), hertz to minimum + n^4 range, all others to minimum +
  // n range, with n the value over 127.
  virtual bool handleMidiCC(int controller, int withData, int onChannel);
  // The next controller goes to this parameter, however long it takes.
  void initiateMappingForParameter(std::uint64_t address);
  // At once, without a notification; the parameter's former controller is forgotten.
  void setMapping(int controller, std::uint64_t forParameter);
  // Address of a controller's parameter, or -1.
  std::int64_t mappingForControl(int controller) const;
  // Controller of a parameter, the least of several, or -1. 0 if only the low half of an entry is the
  // address.
  int controlForMapping(std::uint64_t address) const;

  // Channel that is admitted, from 0; negative for all. Read from the settings at each message.
  void setMidiCHannel(int channel);
  int midiCHannel() const;
  bool isWaitingForMapping() const;
  std::uint64_t currentMappingParameter() const;
  // A copy; none until there is a file or a tree.
  std::optional<Mapping> mapping() const;
  const std::string& groupIdentifier() const { return groupIdentifier_; }
  // The settings suite of that name; in memory alone without a configuration folder. Nothing here reads it.
  std::shared_ptr<SettingsStore> defaults() const;
  // Folder of the mapping files; empty if the table lives in memory alone.
  std::string basePath() const;

 private:
  struct Lent {
    Loan loan;
    MidiMapperServices services;
  };
  // What comes and goes with the folders of the services.
  struct Storage {
    Directories directories{};
    std::string basePath{};
    std::shared_ptr<SettingsStore> defaults{};
    std::optional<Mapping> mapping{};
  };
  void _initStorage();
  void _loadMappingOrCreateDefaultIfNecesarry();
  std::optional<Mapping> _makeDefaultMapping() const;
  std::optional<Mapping> loadMapping() const;
  void _persistMapping() const;
  std::shared_ptr<AUParameterTree> parameterTree() const;
  const MidiMapperServices& services() const;
  void takeUpServices();
  void readChannel(int offset);
  std::string filePath() const;
  std::int64_t addressFromFile(std::int64_t address) const;
  std::int64_t addressForFile(std::int64_t address) const;
  bool learn(int controller);
  void log(const std::string& line) const;

  // Recursive for those who hear of a mapping, and ask for it.
  mutable std::recursive_mutex mutex_;
  MidiMapperServices own_;
  std::vector<Lent> lent_;
  Loan nextLoan_ = 1;
  const std::string groupIdentifier_;
  std::vector<std::weak_ptr<AUParameterTree>> trees_;  // in the order in which they were set
  std::uint64_t currentMappingParameter_ = 0;
  bool isWaitingForMapping_ = false;
  int midiCHannel_ = 0;
  AddressShift shift_;
  Storage storage_;
};

}  // namespace morv
