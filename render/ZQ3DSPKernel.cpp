#include "render/ZQ3DSPKernel.h"

#include <algorithm>
#include <charconv>
#include <mutex>
#include <sstream>
#include <utility>

#include "effects/ZRBasicChorus.h"
#include "effects/ZRBasicDelay.h"
#include "effects/ZREcoVerb.h"
#include "platform/MachineName.h"
#include "platform/ZeroedFloats.h"
#include "voice/ZRTurboVoice.h"

namespace morv {
namespace {

constexpr unsigned kInstrumentFlags = kInstrumentMidi | kInstrumentVoices | kInstrumentArpeggiator |
                                      kInstrumentGlideAndMPE | kInstrumentControllers;
static_assert(kInstrumentFlags == 124);
constexpr int kVoicesOfOldTablets = 4;

// Construction draws on the process's address counter and shared matrix, so instruments are built one at a
// time.
std::mutex& constructionMutex() {
  static std::mutex mutex;
  return mutex;
}

// Lets a construction draw its addresses from a number of its own. If it comes to its end, the counter stands
// where it was, or behind the last address if that lies further on; if it fails, where it was.
class AddressesFrom {
 public:
  explicit AddressesFrom(std::uint32_t first) : next_(ZRDSPEntity::addr) { ZRDSPEntity::addr = first; }
  ~AddressesFrom() { ZRDSPEntity::addr = isDone_ ? std::max(ZRDSPEntity::addr, next_) : next_; }
  AddressesFrom(const AddressesFrom&) = delete;
  AddressesFrom& operator=(const AddressesFrom&) = delete;
  void done() noexcept { isDone_ = true; }

 private:
  const std::uint32_t next_;
  bool isDone_ = false;
};

}  // namespace

std::vector<std::string> ZQ3DSPKernel::split(const std::string& text, char delimiter) {
  std::vector<std::string> pieces;
  std::istringstream stream(text);
  for (std::string piece; std::getline(stream, piece, delimiter);) pieces.push_back(piece);
  return pieces;
}

std::string ZQ3DSPKernel::deviceName() const { return machineName(); }

// Tablets tell a model word with a number, a comma and a second number. A name of any other form keeps the
// voices.
int ZQ3DSPKernel::voicesForDevice(const std::string& device, int voices) {
  if (device == "x86_64" || device == "arm64") return voices;
  const std::vector<std::string> pieces = split(device, ',');
  if (pieces.size() < 2) return voices;
  const std::string& major = pieces.front();
  const std::string& minor = pieces.back();
  int number = 0;
  if (std::from_chars(minor.data(), minor.data() + minor.size(), number).ec != std::errc()) return voices;
  const bool isOld = major == "iPad2" || (major == "iPad3" && number < 4);
  return isOld ? kVoicesOfOldTablets : voices;
}

std::uint32_t ZQ3DSPKernel::init(int channels, double sampleRateHz, int maximumFrames, int voices,
                                 std::optional<std::uint32_t> firstAddress) {
  const std::scoped_lock lock(constructionMutex());
  const std::uint32_t first = firstAddress.value_or(ZRDSPEntity::addr);
  AddressesFrom addresses(first);
  const int numberOfVoices = voicesForDevice(deviceName(), voices);
  maxFrames = maximumFrames;
  channelCount = channels;
  sampleRate = static_cast<float>(sampleRateHz);
  tempo = 120.0F;
  auto built = std::make_shared<ZRDSPInstrument>(sampleRate);
  built->identifier = "morv";
  built->name = "MORV";
  built->initWithNumberOfVoices<ZRTurboVoice>(numberOfVoices, sampleRate, maximumFrames, kInstrumentFlags);
  constexpr int kInsert = 0;
  built->addEffect<ZRBasicChorus>(sampleRate, kInsert);
  {
    const ZeroedFloats::Populated populated;  // `prepare` keeps its lines and makes those of the others
    built->addEffect<ZREcoVerb>(sampleRate, kInsert);
  }
  built->addEffect<ZRBasicDelay>(sampleRate, kInsert);
  built->voiceNumber = static_cast<float>(numberOfVoices);
  instrument = std::move(built);
  addresses.done();
  return first;
}

void ZQ3DSPKernel::prepare(double sampleRateHz, int maximumFrames) {
  instrument->prepare(static_cast<float>(sampleRateHz), maximumFrames);
}

}  // namespace morv
