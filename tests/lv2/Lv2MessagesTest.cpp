// What a host and an instance say to each other besides notes and audio.

#include <gmock/gmock.h>

#include <cstring>
#include <filesystem>
#include <memory>

#include "hosts/cli/OfflineUnit.h"
#include "hosts/lv2/InstanceMapper.h"
#include "hosts/lv2/PluginUris.h"
#include "hosts/lv2/QueueTurner.h"
#include "hosts/lv2/StateEnvelope.h"
#include "platform/MainQueue.h"
#include "platform/NotificationCenter.h"
#include "tests/lv2/Lv2Fixture.h"
#include "tests/lv2/Lv2StateReading.h"

namespace morv::lv2 {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

constexpr std::uint8_t kController = 20;
const std::string kCutoff = std::string(kNamespace) + "filterCutoff";
const std::string kResonance = std::string(kNamespace) + "filterResonance";

class Lv2Messages : public Lv2Fixture {
 protected:
  // A mapping file as the first unit of a process writes it: one controller for one parameter.
  void map(std::uint8_t controller, const std::string& path) {
    const AUParameter* parameter = first_.unit().parameterTree()->parameterForKeyPath(path);
    std::uint64_t address = parameter->address();
    if (address >= first_.unit().firstAddressBehindVoices()) address -= first_.unit().firstAddress();
    std::filesystem::create_directories(folder_.path("XDG_DATA_HOME/morv/MIDIMappings"));
    folder_.write("XDG_DATA_HOME/morv/MIDIMappings/default.midimap",
                  "<?xml version=\"1.0\" encoding=\"UTF-8\"?><plist version=\"1.0\"><dict><key>" +
                      std::to_string(controller) + "</key><integer>" + std::to_string(address) +
                      "</integer></dict></plist>");
  }

  cli::OfflineUnit first_{""};
};

TEST_F(Lv2Messages, MappedControllersReachEveryInstanceOfAProcess) {
  for (const auto& [group, identifier] :
       {std::pair("morv", "filterCutoff"), std::pair("morv", "volume"), std::pair("basicdelay", "echoMix")}) {
    map(kController, std::string(group) + "." + identifier);
    for (int instance = 0; instance < 3; ++instance) {
      Lv2Host host(world_);
      host.activate();
      const double before = unitValue(*host.save(), group, identifier);
      host.midi(0, {0xB0, kController, 127});
      host.runFor(64 * 4);
      EXPECT_GT(unitValue(*host.save(), group, identifier), before)
          << identifier << " of instance " << instance;
    }
  }
}

// An activation makes a unit anew, with the addresses of the one before.
TEST_F(Lv2Messages, MappedControllersStayOverAnActivation) {
  map(kController, "morv.volume");
  Lv2Host host(world_);
  host.activate();
  host.runFor(640);
  host.deactivate();
  host.activate();
  host.midi(0, {0xB0, kController, 0});
  host.runFor(64 * 4);
  EXPECT_EQ(unitValue(*host.save(), "morv", "volume"), 0.0);
}

TEST_F(Lv2Messages, TellsTheHostWhenAMappedControllerHasMovedAParameter) {
  map(kController, "morv.volume");
  Lv2Host host(world_);
  host.activate();
  host.runFor(64 * 4);
  host.notices.clear();

  host.midi(0, {0xB0, kController + 1, 5});
  host.runFor(64 * 4);
  EXPECT_THAT(host.notices, IsEmpty()) << "this one moves nothing";
  host.midi(0, {0xB0, kController, 5});
  host.runFor(64 * 4);

  EXPECT_THAT(host.notices, ElementsAre("StateChanged"));
}

class Lv2InstanceMapper : public testing::Test {
 protected:
  static MidiMapperServices servicesFor(const TemporaryFolder& folder, NotificationCenter* notifications) {
    MidiMapperServices services;
    services.notifications = notifications;
    services.directories = Directories::under(folder.path("user"));
    return services;
  }

  TemporaryFolder folder_;
  NotificationCenter notifications_;
  MainQueue queue_;
  InstanceMapper mapper_{servicesFor(folder_, &notifications_), [this] { ++moves_; }};
  InstanceMapper other_{servicesFor(folder_, &notifications_), [] {}};
  int moves_ = 0;
};

TEST_F(Lv2InstanceMapper, TakesUpWhatAnotherInstanceHasLearned) {
  mapper_.setAddressShift({10, 1000});
  const auto token =
      notifications_.addObserver("midiMappingChanged", queue_, [this] { mapper_.tableHasChanged(); });
  other_.setMidiCHannel(-1);
  other_.initiateMappingForParameter(12);

  other_.handleMidiCC(20, 1, 1);
  queue_.runDue(1);

  EXPECT_EQ(mapper_.mappingForControl(20), 1012);
  notifications_.removeObserver(token);
}

TEST_F(Lv2InstanceMapper, KeepsWhatItHasLearnedItselfThoughTheFileCannotBeWritten) {
  std::filesystem::remove_all(mapper_.basePath());
  ASSERT_TRUE(std::filesystem::create_directories(mapper_.basePath() + "/default.midimap"));
  const auto token =
      notifications_.addObserver("midiMappingChanged", queue_, [this] { mapper_.tableHasChanged(); });
  mapper_.setMidiCHannel(-1);
  mapper_.initiateMappingForParameter(12);

  mapper_.handleMidiCC(20, 1, 1);
  queue_.runDue(1);

  EXPECT_EQ(mapper_.mappingForControl(20), 12);
  EXPECT_EQ(moves_, 0) << "learning moves nothing";
  notifications_.removeObserver(token);
}

TEST_F(Lv2Messages, TakesMessagesForItselfAndLeavesThoseForOthers) {
  Lv2Host host(world_);
  host.activate();
  host.patchSetOf(kPluginUri, kCutoff, 777.0F);
  host.patchSetOf("https://example.org/other", kResonance, 0.9F);
  host.run(64);
  EXPECT_EQ(unitValue(*host.save(), "morv", "filterCutoff"), 777.0);
  EXPECT_NE(unitValue(*host.save(), "morv", "filterResonance"), static_cast<double>(0.9F));

  host.notices.clear();
  host.patchGetOf("https://example.org/other", kCutoff);
  host.run(64);
  EXPECT_THAT(host.notices, Not(Contains("filterCutoff=777.000000")));
  host.patchGetOf(kPluginUri, kCutoff);
  host.run(64);
  EXPECT_THAT(host.notices, Contains("filterCutoff=777.000000"));
}

TEST_F(Lv2Messages, SetsAllPropertiesOfABody) {
  Lv2Host host(world_);
  host.activate();
  host.run(64);
  host.run(64);
  host.notices.clear();

  host.patchPut(10, {{kCutoff, 777.0F}, {"https://example.org/unknown", 1.0F}, {kResonance, 0.5F}});
  host.run(64);
  host.run(64);
  EXPECT_EQ(unitValue(*host.save(), "morv", "filterCutoff"), 777.0);
  EXPECT_EQ(unitValue(*host.save(), "morv", "filterResonance"), 0.5);
  EXPECT_THAT(host.notices, ElementsAre("StateChanged"));

  host.patchPut(0, {}, {{kPresetUri, "[FACTORY]_BS_Bent Wire"}});
  host.runFor(64 * 4);
  EXPECT_EQ(StateEnvelope::fromText(*host.save()).value().preset, "[FACTORY]_BS_Bent Wire");
}

// The body ends inside a value; what stands ahead of that counts.
TEST_F(Lv2Messages, ReadsNotBeyondTheEndOfABody) {
  for (std::uint32_t bodyBytes = 0; bodyBytes < 56; ++bodyBytes) {
    Lv2Host host(world_);
    host.activate();
    std::vector<std::uint32_t> words = {0,
                                        uridOf("http://lv2plug.in/ns/ext/atom#Object"),
                                        0,
                                        uridOf("http://lv2plug.in/ns/ext/patch#Put"),
                                        uridOf("http://lv2plug.in/ns/ext/patch#body"),
                                        0,
                                        bodyBytes,
                                        uridOf("http://lv2plug.in/ns/ext/atom#Object"),
                                        0,
                                        0};
    for (const auto& [property, value] : {std::pair(kCutoff, 777.0F), std::pair(kResonance, 0.5F)}) {
      std::uint32_t bits = 0;
      std::memcpy(&bits, &value, sizeof(bits));
      const std::uint32_t number = uridOf("http://lv2plug.in/ns/ext/atom#Float");
      words.insert(words.end(), {uridOf(property), 0, 4, number, bits, 0});
    }
    words[0] = static_cast<std::uint32_t>(8 + 16 + bodyBytes);
    std::vector<std::uint8_t> bytes(words.size() * 4);
    std::memcpy(bytes.data(), words.data(), bytes.size());
    host.atom(0, std::vector<std::uint8_t>(bytes.begin(), bytes.begin() + 8 + words[0]));
    host.run(64);
    const std::string saved = *host.save();
    EXPECT_EQ(unitValue(saved, "morv", "filterCutoff") == 777.0, bodyBytes >= 8 + 20) << bodyBytes;
    EXPECT_EQ(unitValue(saved, "morv", "filterResonance") == 0.5, bodyBytes >= 8 + 24 + 20) << bodyBytes;
  }
}

// Time runs faster than a thread that looks by itself; a free-wheeling host gets what a worker's host gets.
TEST_F(Lv2Messages, FreeWheelsWithoutAWorkerAsItDoesWithOne) {
  const auto played = [this](bool hasWorker) {
    Lv2Host host(world_, 48000, {.worker = hasWorker, .log = true, .notify = true, .control = true});
    host.port("freewheel") = 1;
    host.activate();
    for (const std::uint8_t program : {4, 9, 2, 11}) {
      host.midi(0, {0xC0, program});
      host.runFor(36000, 512);
      host.noteOn(0, 60);
      host.runFor(4800, 512);
      host.noteOff(0, 60);
    }
    EXPECT_GT(host.peak, 0.01F);
    return host.left;
  };
  EXPECT_EQ(played(false), played(true));
}

TEST_F(Lv2Messages, LetsNothingThatFailsEndTheProcess) {
  std::vector<std::string> failures;
  QueueTurner turner(
      nullptr, [] { throw std::runtime_error("broken"); },
      [&failures](const std::string& reason) { failures.push_back(reason); });
  turner.requestOffline();
  EXPECT_THAT(failures, ElementsAre("broken"));
}

}  // namespace
}  // namespace morv::lv2
