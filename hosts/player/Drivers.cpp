#include "hosts/player/Drivers.h"

#include <utility>

#ifdef MORV_WITH_JACK
#include "hosts/player/JackClient.h"
#include "hosts/player/JackServer.h"
#endif
#ifdef MORV_WITH_ALSA
#include "hosts/player/AlsaDevices.h"
#include "hosts/player/AlsaDriver.h"
#endif

namespace morv::player {
namespace {

using Opened = Result<std::unique_ptr<AudioDriver>>;

[[maybe_unused]] Failure leftOut(const char* system) {
  return {"this build has no " + std::string(system) + " driver"};
}

template <typename Driver>
Opened opened(PlayerEngine& engine, const DriverOptions& options) {
  auto driver = std::make_unique<Driver>(engine, options);
  if (const Outcome done = driver->open(); !done.ok()) return done.failure();
  return Opened(std::move(driver));
}

Opened openJack([[maybe_unused]] PlayerEngine& engine, [[maybe_unused]] const DriverOptions& options) {
#ifdef MORV_WITH_JACK
  return opened<JackClient>(engine, options);
#else
  return leftOut("JACK");
#endif
}

Opened openAlsa([[maybe_unused]] PlayerEngine& engine, [[maybe_unused]] const DriverOptions& options) {
#ifdef MORV_WITH_ALSA
  return opened<AlsaDriver>(engine, options);
#else
  return leftOut("ALSA");
#endif
}

}  // namespace

Opened openDriver(AudioChoice choice, PlayerEngine& engine, const DriverOptions& options) {
  if (choice == AudioChoice::alsa) return openAlsa(engine, options);
  Opened jack = openJack(engine, options);
  if (jack.ok() || choice == AudioChoice::jack) return jack;
  Opened alsa = openAlsa(engine, options);
  if (alsa.ok()) return alsa;
  return Failure{jack.reason() + "; " + alsa.reason()};
}

Result<JackServerInfo> findJackServer() {
#ifdef MORV_WITH_JACK
  return lookAtJackServer();
#else
  return leftOut("JACK");
#endif
}

Result<std::vector<AlsaDeviceInfo>> findAlsaDevices() {
#ifdef MORV_WITH_ALSA
  return listAlsaDevices();
#else
  return leftOut("ALSA");
#endif
}

Result<std::vector<std::string>> findAlsaMidiSources() {
#ifdef MORV_WITH_ALSA
  return listAlsaMidiSources();
#else
  return leftOut("ALSA");
#endif
}

}  // namespace morv::player
