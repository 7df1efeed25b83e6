#include "hosts/player/PlayRun.h"

#include <poll.h>
#include <signal.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "hosts/cli/ParameterNames.h"
#include "hosts/cli/PresetChoice.h"
#include "hosts/cli/PresetFile.h"
#include "hosts/cli/Terminal.h"
#include "hosts/player/EndSignals.h"
#include "hosts/player/MappingFile.h"
#include "hosts/player/SessionState.h"
#include "platform/DiagnosticRing.h"
#include "unit/ZRMidiMapper.h"

namespace morv::player {
namespace {

using cli::ExitCode;

constexpr const char* kMidiChannel = "midiChannel";
constexpr std::int64_t kAllChannels = -1;
constexpr int kTurnMilliseconds = 10;
constexpr double kSecondsBetweenRefreshes = 1.0;
// For the last notes to reach the driver and for the mute to come down, against a click at the end.
constexpr double kSecondsToEnd = 0.05;
constexpr double kLongestCycleSeconds = 1.0;

double clockSeconds() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

void pause() { std::this_thread::sleep_for(std::chrono::milliseconds(kTurnMilliseconds)); }

Directories directoriesWith(const std::string& resources) {
  Directories directories = Directories::ofUser();
  directories.resources = resources;
  return directories;
}

// One player, one unit, one mapper: the player's own, which can do without the user's table.
std::shared_ptr<ZRMidiMapper> mapperOf(HostSurroundings& surroundings, bool usesOwnFile) {
  MidiMapperServices services;
  services.standardSettings = &surroundings.standardSettings();
  services.notifications = &surroundings.notifications();
  if (usesOwnFile) services.directories = surroundings.directories();
  services.log = [](const std::string& line) { cli::warn(line); };
  return std::make_shared<ZRMidiMapper>(std::move(services));
}

}  // namespace

PlayRun::PlayRun(PlayOptions options, std::string resources, DriverMaker makeDriver)
    : options_(std::move(options)),
      resources_(std::move(resources)),
      makeDriver_(std::move(makeDriver)),
      start_(clockSeconds()),
      surroundings_(directoriesWith(resources_), [](const std::string& line) { cli::warn(line); }),
      mapper_(mapperOf(surroundings_, !options_.mapFile)),
      engine_(surroundings_, mapper_, [](const std::string& line) { cli::warn(line); }) {
  observerToken_ = engine_.unit().parameterTree()->tokenByAddingParameterObserver(
      [this](AUParameterAddress, AUValue) { hasMoved_ = true; });
}

PlayRun::~PlayRun() { engine_.unit().parameterTree()->removeParameterObserver(observerToken_); }

double PlayRun::seconds() const { return clockSeconds() - start_; }

ExitCode PlayRun::run() {
  ExitCode code = prepare();
  if (code != ExitCode::ok) return code;
  if (const char* url = std::getenv("NSM_URL"); url != nullptr && *url != '\0') {
    code = connectSession(url);
  } else if (const Outcome opened = openDriver(options_.clientName, options_.connects); !opened.ok()) {
    code = cli::fail(ExitCode::device, opened.reason());
  }
  if (code == ExitCode::ok) code = play();
  return finish(code);
}

ExitCode PlayRun::prepare() {
  listenToAllChannelsByDefault();
  engine_.turn(seconds());  // the unit takes the settings that it wrote at its start
  for (const auto& setting : options_.settings) cli::applySetting(setting, engine_.unit());
  engine_.turn(seconds());
  for (const auto step : {&PlayRun::takeMapping, &PlayRun::takePreset, &PlayRun::takeSets}) {
    if (const ExitCode code = (this->*step)(); code != ExitCode::ok) return code;
  }
  initialState_ = engine_.unit().fullState();
  return ExitCode::ok;
}

// A missing setting would be read as channel 1.
void PlayRun::listenToAllChannelsByDefault() {
  SettingsStore& settings = surroundings_.standardSettings();
  if (!settings.has(kMidiChannel)) settings.setInteger(kMidiChannel, kAllChannels);
}

ExitCode PlayRun::takeMapping() {
  if (!options_.mapFile) return ExitCode::ok;
  const auto mapping = readMappingFile(*options_.mapFile);
  if (!mapping) return cli::fail(ExitCode::badInput, mapping.reason());
  for (const auto& [controller, address] : mapping.value()) mapper_->setMapping(controller, address);
  return ExitCode::ok;
}

ExitCode PlayRun::takePreset() {
  if (!options_.preset) return ExitCode::ok;
  const std::string& wanted = *options_.preset;
  ZQ3Unit& unit = engine_.unit();
  if (cli::meansPresetFile(wanted)) {
    const auto state = cli::readPreset(wanted, unit);
    if (!state) return cli::fail(ExitCode::badInput, state.reason());
    engine_.loadState(*state);
  } else {
    // The unit's list holds the factory's presets and the user's alike, and of one name means the first.
    std::vector<cli::PresetEntry> entries;
    std::set<std::string> known;
    for (const auto& each : unit.factoryPresets()) {
      using Source = cli::PresetEntry::Source;
      const Source source = ZRAudioUnit::presetIsFactoryPresett(each) ? Source::factory : Source::user;
      if (known.insert(each.name).second) entries.push_back({each.name, source, {}, false});
    }
    const auto chosen = cli::choosePreset(wanted, entries, cli::PresetCategories::of(resources_));
    if (!chosen) return cli::failUsage("play", "option '--preset': " + chosen.reason());
    unit.setCurrentPresetWithName(chosen->name);
  }
  engine_.settle();
  return ExitCode::ok;
}

ExitCode PlayRun::takeSets() {
  for (const auto& set : options_.sets) {
    const auto parameter = cli::findParameter(*engine_.unit().parameterTree(), set.identifier);
    if (!parameter) return cli::failUsage("play", "option '--set': " + parameter.reason());
    const std::string remark = cli::rangeRemark(**parameter, set.value);
    if (!remark.empty()) cli::warn(remark);
    (*parameter)->setValue(set.value);
  }
  return ExitCode::ok;
}

ExitCode PlayRun::connectSession(const std::string& url) {
  NsmSession::Handlers handlers;
  handlers.open = [this](const std::string& path, const std::string& id) { return openSession(path, id); };
  handlers.save = [this] { return saveSession(); };
  auto session = NsmSession::connect(url, "morv", std::move(handlers));
  if (!session) return cli::fail(ExitCode::failure, "NSM_URL: " + session.reason());
  session_.emplace(std::move(session).value());
  return ExitCode::ok;
}

// A session without a state begins like the program would begin alone. Under a session manager connections
// are somebody else's. Until the driver stands under its new name the former session stays what it is; the
// unit serves one driver at a time, so that one goes first and comes back if need be.
Outcome PlayRun::openSession(const std::string& path, const std::string& clientId) {
  const auto state = readSessionState(path);
  if (!state) return state.failure();
  endNotes();
  driver_.reset();
  engine_.settle();  // what waits on the queue is still the former session's
  engine_.unit().setIsMuted(true);
  if (Outcome opened = openDriver(clientId, false); !opened.ok()) {
    reopenDriver();
    engine_.unit().unmute();
    return opened;
  }
  engine_.loadState(state.value().value_or(initialState_));
  engine_.unit().unmute();
  sessionPath_ = path;
  sessionClient_ = clientId;
  keptState_ = engine_.unit().fullState();
  isDirty_ = false;
  return Done{};
}

Outcome PlayRun::saveSession() {
  PropertyListDictionary state = engine_.unit().fullState();
  Outcome saved = writeSessionState(sessionPath_, state);
  isDirty_ = !saved.ok();
  if (saved.ok()) keptState_ = std::move(state);
  return saved;
}

// For the session that is open. Without success the next turns try again.
void PlayRun::reopenDriver() {
  if (!sessionPath_.empty()) static_cast<void>(openDriver(sessionClient_, false));
}

void PlayRun::lookForChanges() {
  if (isDirty_ || sessionPath_.empty() || !hasMoved_.exchange(false)) return;
  isDirty_ = engine_.unit().fullState() != keptState_;
}

Outcome PlayRun::openDriver(const std::string& clientName, bool connects) {
  DriverOptions driver;
  driver.clientName = clientName;
  driver.connects = connects;
  driver.device = options_.device;
  driver.latencyFrames = options_.latencyFrames;
  driver.sampleRateHz = options_.sampleRateHz;
  driver.log = [](const std::string& line) { cli::warn(line); };
  driver.details = [isTold = options_.verbose](const std::string& line) {
    if (isTold) cli::warn(line);
  };
  auto opened = makeDriver_(engine_, driver);
  if (!opened.ok()) return opened.failure();
  driver_ = std::move(opened).value();
  return Done{};
}

ExitCode PlayRun::play() {
  const double begin = seconds();
  while (EndSignals::taken() == 0) {
    if (options_.seconds && seconds() - begin >= *options_.seconds) return ExitCode::ok;
    turn();
    if (session_) {
      lookForChanges();
      if (isDirty_) session_->tellDirty(true);
      const Outcome served = session_->turn(seconds());
      if (!served.ok()) return cli::fail(ExitCode::failure, served.reason());
      pollfd waiting{session_->descriptor(), POLLIN, 0};
      poll(&waiting, 1, kTurnMilliseconds);
    } else {
      pause();
    }
  }
  switch (EndSignals::taken()) {
    case SIGINT:
      return ExitCode::interrupted;
    case SIGHUP:
      return ExitCode::hungUp;
    default:
      return ExitCode::terminated;
  }
}

void PlayRun::turn() {
  const double now = seconds();
  engine_.turn(now);
  DiagnosticRing::shared().drain(options_.verbose ? stderr : nullptr);
  if (driver_ != nullptr) driver_->turn(now);
  if (now < nextRefresh_) return;
  nextRefresh_ = now + kSecondsBetweenRefreshes;
  if (driver_ == nullptr) reopenDriver();
  for (SettingsSuite* each : {&surroundings_.standardSettings(), &surroundings_.sharedSettings()}) {
    static_cast<void>(each->refresh());  // tells its own messages
  }
}

void PlayRun::endNotes() {
  if (driver_ == nullptr || !driver_->isRunning()) return;
  engine_.unit().setIsMuted(true);
  engine_.allNotesOff();
  // The next cycle carries it out, which on a long one comes late; behind it the mute has its time.
  for (const double end = seconds() + kLongestCycleSeconds; !engine_.areNotesOff() && seconds() < end;)
    pause();
  for (const double end = seconds() + kSecondsToEnd; seconds() < end;) pause();
}

ExitCode PlayRun::finish(ExitCode code) {
  endNotes();
  driver_.reset();
  engine_.turn(seconds());
  DiagnosticRing::shared().drain(options_.verbose ? stderr : nullptr);
  for (SettingsSuite* each : {&surroundings_.standardSettings(), &surroundings_.sharedSettings()}) {
    const Outcome saved = each->synchronize();
    if (!saved.ok() && code == ExitCode::ok) code = ExitCode::outputFailed;
    if (!saved.ok()) cli::warn(saved.reason());
  }
  if (options_.verbose) cli::warn("the notes have ended");
  return code;
}

}  // namespace morv::player
