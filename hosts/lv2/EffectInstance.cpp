#include "hosts/lv2/EffectInstance.h"

#include <lv2/atom/util.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <stdexcept>
#include <utility>

#include "effects/ZRSpectrumAnalyzer.h"
#include "hosts/lv2/AtomInput.h"
#include "platform/ScopedFlushDenormals.h"
#include "platform/ZeroedFloats.h"

namespace morv::lv2 {
namespace {

// As the instrument's.
constexpr double kLeastRateHz = 1000.0;
constexpr double kGreatestRateHz = 768000.0;
// Until a host tells another one.
constexpr float kUsualTempo = 120.0F;

using Block = std::array<float, kHostBlockFrames>;

// An input that is not connected is silent.
void readInput(const float* in, std::uint32_t start, std::uint32_t frames,
               Block* block) noexcept MORV_NONBLOCKING {
  if (in != nullptr) {
    std::copy_n(in + start, frames, block->begin());
    holdLevel(block->data(), frames);
  } else {
    std::fill_n(block->begin(), frames, 0.0F);
  }
}

}  // namespace

EffectInstance::EffectInstance(const EffectFacts& facts, double sampleRateHz, const HostFeatures& host)
    : facts_(facts),
      places_(facts),
      sampleRateHz_(sampleRateHz),
      host_(host),
      fade_(sampleRateHz),
      tempo_(kUsualTempo) {
  if (!(sampleRateHz >= kLeastRateHz && sampleRateHz <= kGreatestRateHz)) {
    throw std::runtime_error("this sample rate is out of range");
  }
  if (facts.needsAtoms()) atoms_.emplace(*host.map);
  makeEffect();
  ports_ = std::make_unique<EffectPorts>(facts, controls_);
  watch_.emplace(ports_->ports());
}

// With all controls at their defaults, and with the pages of all its lines: a first lap over them would wait
// for the system at each. If there is no memory for it, the old effect stays.
void EffectInstance::makeEffect() {
  const ZeroedFloats::Populated populated;
  std::unique_ptr<ZRDSPEffect> effect = morv::makeEffect(facts_.kind, sampleRateHz_);
  std::vector<EffectControl> controls = controlsOf(facts_.kind, *effect);
  effect->prepare(static_cast<float>(sampleRateHz_), static_cast<int>(kHostBlockFrames));
  if (facts_.tellsSpectrum) {
    static_cast<ZRSpectrumAnalyzer&>(*effect).setDataCallback(
        [](float*, int, void* instance) { static_cast<EffectInstance*>(instance)->hasNewSpectrum_ = true; },
        this);
  }
  for (EffectControl& control : controls) {
    const auto start = startOfControl(facts_.kind, control.identifier());
    if (start) control.set(*start);
  }
  controls_ = std::move(controls);
  toldRecoveries_ = 0;
  effect_ = std::move(effect);
  hasNewSpectrum_ = false;
  hasPlayed_ = false;
}

void EffectInstance::connectPort(std::uint32_t port, void* data) noexcept {
  switch (port) {
    case EffectPlaces::kInLeft:
      inLeft_ = static_cast<const float*>(data);
      return;
    case EffectPlaces::kInRight:
      inRight_ = static_cast<const float*>(data);
      return;
    case EffectPlaces::kOutLeft:
      outLeft_ = static_cast<float*>(data);
      return;
    case EffectPlaces::kOutRight:
      outRight_ = static_cast<float*>(data);
      return;
    case EffectPlaces::kEnabled:
      enabled_ = static_cast<const float*>(data);
      return;
    default:
      break;
  }
  if (port == places_.control) control_ = static_cast<const LV2_Atom_Sequence*>(data);
  if (port == places_.notify) notify_ = static_cast<LV2_Atom_Sequence*>(data);
  if (port == places_.latency) latency_ = static_cast<float*>(data);
  const std::uint32_t parameter = port - places_.firstParameter;
  if (parameter < controls_.size()) watch_->connect(parameter, static_cast<const float*>(data));
}

// An effect that has played is not fresh in many small ways, so a new one takes over. What a port has not
// moved from its default, it does not set.
void EffectInstance::activate() {
  if (!hasPlayed_) return;
  makeEffect();
  for (std::size_t i = 0; i < controls_.size(); ++i) {
    const float value = watch_->value(i);
    if (value != ports_->ports()[i].defaultValue) controls_[i].set(value);
  }
  dryLeft_.reset();
  dryRight_.reset();
  fade_.restart();
}

void EffectInstance::run(std::uint32_t frames) noexcept {
  const ScopedFlushDenormals flush;
  takePorts();
  if (atoms_) atoms_->output.begin(notify_);
  const bool hasOutputs = outLeft_ != nullptr && outRight_ != nullptr;
  if (!hasOutputs) {
    for (float* connected : {outLeft_, outRight_}) {
      if (connected != nullptr) std::fill_n(connected, frames, 0.0F);
    }
  }
  done_ = 0;
  const std::uint32_t heard = hasOutputs ? frames : 0;
  if (control_ != nullptr) readControl(heard);
  renderUpToEnd(heard);
  if (atoms_) atoms_->output.end();
  if (const std::uint32_t count = effect_->recoveryCount(); count != toldRecoveries_) {
    toldRecoveries_ = count;
    host_.traceRecoveries(count);
  }
  if (latency_ != nullptr) *latency_ = static_cast<float>(effect_->latencyFrames());
}

void EffectInstance::takePorts() noexcept {
  watch_->collect([this](std::size_t port, float value) { controls_[port].set(value); });
  const float enabled = enabled_ != nullptr ? *enabled_ : 1.0F;
  if (!std::isnan(enabled)) fade_.setEnabled(enabled > 0.0F);
}

// A tempo counts from the block on that holds its frame.
void EffectInstance::readControl(std::uint32_t frames) noexcept {
  LV2_ATOM_SEQUENCE_FOREACH(control_, event) {
    if (event->body.type != atoms_->urids.atomObject && event->body.type != atoms_->urids.atomBlank) continue;
    if (event->body.size < sizeof(LV2_Atom_Object_Body)) continue;
    const auto tempo = tempoOf(atoms_->urids, *reinterpret_cast<const LV2_Atom_Object*>(&event->body));
    if (!tempo || !(*tempo > 0.0F) || !std::isfinite(*tempo)) continue;
    renderUpTo(static_cast<std::uint32_t>(std::clamp<std::int64_t>(event->time.frames, 0, INT32_MAX)),
               frames);
    tempo_ = *tempo;
  }
}

void EffectInstance::renderUpTo(std::uint32_t frame, std::uint32_t frames) noexcept {
  if (frames == 0) return;
  const std::uint32_t end = std::min(frame, frames - 1) / kHostBlockFrames * kHostBlockFrames;
  if (end > done_) renderUpToEnd(end);
}

void EffectInstance::renderUpToEnd(std::uint32_t frames) noexcept {
  const std::uint32_t begin = done_;
  cutIntoBlocks(frames - begin, kHostBlockFrames,
                [&](std::uint32_t start, std::uint32_t count) { renderBlock(begin + start, count); });
  done_ = frames;
}

// The effect's output starts as a copy of the input, which some of its settings leave as it is.
void EffectInstance::renderBlock(std::uint32_t start, std::uint32_t frames) noexcept {
  hasPlayed_ = true;
  Block dryLeft{};
  Block dryRight{};
  readInput(inLeft_, start, frames, &dryLeft);
  readInput(inRight_, start, frames, &dryRight);
  Block left = dryLeft;
  Block right = dryRight;
  effect_->runEffect(dryLeft.data(), dryRight.data(), left.data(), right.data(), static_cast<int>(frames),
                     tempo_);
  holdLevel(left.data(), frames);
  holdLevel(right.data(), frames);
  if (facts_.isLate) {
    const auto late = static_cast<std::uint32_t>(effect_->latencyFrames());
    dryLeft_.run(dryLeft.data(), frames, late);
    dryRight_.run(dryRight.data(), frames, late);
  }
  const bool isHeard = fade_.isHeard();
  fade_.mix(dryLeft.data(), dryRight.data(), left.data(), right.data(), frames);
  std::copy_n(left.begin(), frames, outLeft_ + start);
  std::copy_n(right.begin(), frames, outRight_ + start);
  if (hasNewSpectrum_ && isHeard) tellSpectrum(start + frames - 1);
  hasNewSpectrum_ = false;
}

// One that finds no room is not told later: the next one is newer.
void EffectInstance::tellSpectrum(std::uint32_t frame) noexcept {
  atoms_->spectrum.write(frame, static_cast<const ZRSpectrumAnalyzer&>(*effect_), &atoms_->output);
}

}  // namespace morv::lv2
