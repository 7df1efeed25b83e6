#include "modulation/ZRDSPModMatrix.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "render/BlockLimits.h"

namespace morv {
namespace {

// Floats that each buffer gets beyond its length: keeps equal sample positions of different buffers off the
// same cache set.
constexpr std::ptrdiff_t kStrideStagger = 80;

std::size_t bufferCapacity(int blockSize) {
  return static_cast<std::size_t>(std::max(blockSize, kMaxBlockFrames) + kStrideStagger);
}

float depthOf(const modMatrixRow& row) noexcept {
  return row.depth != nullptr ? row.depth->value.load() : 1.0F;
}

// Whether a second source is one of the built-in ones that carry MIDI values of 0 to 127.
bool isMidiValued(int modSource, bool isGlobalPass) noexcept {
  switch (modSource) {
    case kSourceNote:
    case kSourceVelocity:
    case kSourceModWheel:
    case kSourcePressure:
      return true;
    case kSourceSlide:
      return !isGlobalPass;
    default:
      return false;
  }
}

}  // namespace

std::shared_ptr<ZRDSPModMatrix> ZRDSPModMatrix::_instance;

ZRDSPModMatrix::ZRDSPModMatrix(int matrixBlockSize) { setBlockSize(matrixBlockSize); }

std::shared_ptr<ZRDSPModMatrix> ZRDSPModMatrix::initSingleton() {
  _instance = std::make_shared<ZRDSPModMatrix>(kSharedMatrixBlockSize);
  _instance->_createMatrixCore();
  return _instance;
}

std::shared_ptr<ZRDSPModMatrix> ZRDSPModMatrix::sharedMatrix() {
  return _instance != nullptr ? _instance : initSingleton();
}

void ZRDSPModMatrix::_createMatrixCore() {
  matrixCore_ = std::make_shared<ModMatrixCore>();
  registeredSourceCount = 0;
}

void ZRDSPModMatrix::setBlockSize(int newBlockSize) {
  blockSize = newBlockSize;
  _initBuffers();
}

void ZRDSPModMatrix::_initBuffers() {
  const std::size_t capacity = bufferCapacity(blockSize);
  stride_ = static_cast<std::ptrdiff_t>(capacity);
  destinationStorage_ = ZeroedFloats(static_cast<std::size_t>(stride_) * kMaxModRows);
  scratchA_ = ZeroedFloats(capacity);
  scratchB_ = ZeroedFloats(capacity);
  for (int i = 0; i < kNumBuiltInSources; ++i) {
    sourceStorage_.emplace_back(capacity);
    sourceBuffers_[static_cast<std::size_t>(i)] = sourceStorage_.back().data();
  }
  for (std::size_t i = 0; i < ZRDSPModMatrixSourceNames.size(); ++i) {
    const std::string name(ZRDSPModMatrixSourceNames[i]);
    const int index = static_cast<int>(i);
    sources_.push_back(std::make_unique<modMatrixSource>(modMatrixSource{name, index, false, true}));
    sourceNames_[index] = name;
  }
}

int ZRDSPModMatrix::registerSource(ZRDSPEntity* entity, bool isGlobal, bool isPublic,
                                   const std::string& name) {
  const int number = registeredSourceCount + kNumBuiltInSources;
  const int index = isGlobal ? -number : number;
  ++registeredSourceCount;
  if (!isGlobal) {
    sourceStorage_.emplace_back(bufferCapacity(blockSize));
    sourceBuffers_.at(static_cast<std::size_t>(index)) = sourceStorage_.back().data();
  }
  const std::string& sourceName = name.empty() && entity != nullptr ? entity->name : name;
  sourceNames_[index] = sourceName;
  sources_.push_back(
      std::make_unique<modMatrixSource>(modMatrixSource{sourceName, index, isGlobal, isPublic}));
  return index;
}

std::vector<const modMatrixSource*> ZRDSPModMatrix::getPublicSources() const {
  std::vector<const modMatrixSource*> list;
  for (const auto& source : sources_) {
    if (source->isPublic) list.push_back(source.get());
  }
  return list;
}

std::vector<std::string> ZRDSPModMatrix::getPublicSourceNames() const {
  std::vector<std::string> names;
  for (const auto* source : getPublicSources()) names.push_back(source->name);
  return names;
}

int ZRDSPModMatrix::getNumPublicSources() const { return static_cast<int>(getPublicSources().size()); }

std::string ZRDSPModMatrix::getNameForSource(int index) const {
  const auto found = sourceNames_.find(index);
  return found != sourceNames_.end() ? found->second : std::string();
}

modMatrixRow* ZRDSPModMatrix::addRow(const std::string& identifier, const std::string& sourceName, int source,
                                     const std::string& destinationName, int destination,
                                     ZRDSPParameter* depth, float amount, int transform, bool isGlobal) {
  auto& slot = matrixCore_->rows.at(static_cast<std::size_t>(rowCount));
  ++rowCount;
  if (slot != nullptr) return slot.get();
  slot = std::make_unique<modMatrixRow>();
  slot->identifier = identifier;
  slot->displayIdentifier = identifier;
  slot->source = source;
  slot->destinationIndex = destination;
  slot->depth = depth;
  slot->amount = amount;
  slot->transform = static_cast<ZRDSPModMatrixTransform>(transform);
  slot->isGlobal = isGlobal;
  slot->active = true;
  if (!sourceName.empty()) {
    slot->destination.index = destination;
    slot->destination.name = destinationName;
  }
  matrixCore_->usedRows = std::max(matrixCore_->usedRows, rowCount);
  if (destination >= 0 && destination < kMaxModRows)
    matrixCore_->routed.set(static_cast<std::size_t>(destination));
  rowsByIdentifier_[identifier] = slot.get();
  return slot.get();
}

modMatrixRow* ZRDSPModMatrix::addRow(const std::string& identifier, int source, int destination,
                                     ZRDSPParameter* depth, float amount, int transform, bool isGlobal) {
  return addRow(identifier, "", source, "", destination, depth, amount, transform, isGlobal);
}

modMatrixRow* ZRDSPModMatrix::addRow(int source, int destination, ZRDSPParameter* depth, float amount,
                                     int transform) {
  return addRow("", source, destination, depth, amount, transform, false);
}

modMatrixRow* ZRDSPModMatrix::getRowAtIndex(int index) const {
  return matrixCore_->rows[static_cast<std::size_t>(index)].get();
}

modMatrixRow* ZRDSPModMatrix::getRowWithIdentifier(const std::string& identifier) const {
  return rowsByIdentifier_.at(identifier);
}

std::vector<modMatrixRow*> ZRDSPModMatrix::getRowsWithDestination(const std::string& destinationName) const {
  std::vector<modMatrixRow*> list;
  for (int i = 0; i < rowCount; ++i) {
    modMatrixRow* row = getRowAtIndex(i);
    if (row != nullptr && row->destination.name == destinationName) list.push_back(row);
  }
  return list;
}

std::vector<modMatrixRow*> ZRDSPModMatrix::getActiveRows() const {
  std::vector<modMatrixRow*> list;
  for (int i = 0; i < rowCount; ++i) {
    modMatrixRow* row = getRowAtIndex(i);
    if (row != nullptr && row->depth != nullptr && row->depth->normalizedValue() != 0.0F) list.push_back(row);
  }
  return list;
}

void ZRDSPModMatrix::resetActiveRows() {
  for (int i = 0; i < rowCount; ++i) {
    modMatrixRow* row = getRowAtIndex(i);
    if (row == nullptr) continue;
    if (row->depth != nullptr) {
      row->depth->value = 0.0F;
      row->depth->normalizedValueCache = 0.0F;
    }
    row->modAmount = 0.0F;
    row->modSource = 0;
  }
}

float* ZRDSPModMatrix::sourceBuffer(int source) noexcept {
  if (source < 0) return matrixCore_ != nullptr ? matrixCore_->globalSourceBuffer(-source) : nullptr;
  return source < kMaxModRows ? sourceBuffers_[static_cast<std::size_t>(source)] : nullptr;
}

float* ZRDSPModMatrix::destinationBuffer(int address) noexcept {
  if (address < 0 || address >= kMaxModRows) return nullptr;
  return destinationStorage_.data() + address * stride_;
}

bool ZRDSPModMatrix::isRouted(int address) const noexcept {
  return matrixCore_ != nullptr && address >= 0 && address < kMaxModRows &&
         matrixCore_->routed.test(static_cast<std::size_t>(address));
}

// Destinations of rows with a depth are cleared outright. Those of rows at depth zero are cleared only if
// their sum is not zero: the row may have been turned down since, or a module may have written into the
// buffer.
void ZRDSPModMatrix::clearDestinations(int frames) noexcept {
  std::bitset<kMaxModRows> cleared;
  for (int r = 0; r < matrixCore_->usedRows; ++r) {
    const modMatrixRow* row = matrixCore_->rows[static_cast<std::size_t>(r)].get();
    if (row == nullptr) continue;
    const float d = depthOf(*row);
    depths_[static_cast<std::size_t>(r)] = d;
    float* buffer = destinationBuffer(row->destinationIndex);
    if (!row->active || buffer == nullptr) continue;
    const auto destination = static_cast<std::size_t>(row->destinationIndex);
    if (cleared[destination]) continue;
    if (d == 0.0F) {
      float sum = 0;
      for (int i = 0; i < frames; ++i) sum += buffer[i];
      if (sum == 0.0F) continue;
    }
    std::fill_n(buffer, frames, 0.0F);
    cleared[destination] = true;
  }
}

// Writes the transformed source to `out`. False when the transform has no operation there; `out` then stays.
bool ZRDSPModMatrix::_applyTransform(ZRDSPModMatrixTransform transform, const float* source, float* out,
                                     int frames, bool isGlobalPass) noexcept {
  const auto each = [&](auto&& f) {
    for (int i = 0; i < frames; ++i) out[i] = f(source[i]);
    return true;
  };
  switch (transform) {
    case ZRDSPModMatrixTransform::plain:
      return each([](float x) { return x; });
    case ZRDSPModMatrixTransform::toBipolar:
      return each([](float x) { return 2.0F * x - 1.0F; });
    case ZRDSPModMatrixTransform::toUnipolar:
      return each([](float x) { return 0.5F * x + 0.5F; });
    case ZRDSPModMatrixTransform::square:
    case ZRDSPModMatrixTransform::squareAgain:
      return each([](float x) { return x * x; });
    case ZRDSPModMatrixTransform::fourthPower:
      return each([](float x) { return (x * x) * (x * x); });
    case ZRDSPModMatrixTransform::midi:
      return each([](float x) { return x / 127.0F; });
    case ZRDSPModMatrixTransform::midiSquare:
      return each([](float x) { return std::copysign((x / 127.0F) * (x / 127.0F), x); });
    case ZRDSPModMatrixTransform::eightySquare:
      return !isGlobalPass && each([](float x) { return (x / 80.0F) * (x / 80.0F); });
    case ZRDSPModMatrixTransform::undefined:
      break;
  }
  return false;
}

void ZRDSPModMatrix::runRow(const modMatrixRow& row, float* source, bool isGlobalPass, int frames) noexcept {
  float* destination = destinationBuffer(row.destinationIndex);
  if (destination == nullptr) return;
  float* a = scratchA_.data();
  // Without an operation there is nothing to add: the scratch would hold another row's samples.
  if (!_applyTransform(row.transform, source, a, frames, isGlobalPass)) return;
  const int modSource = row.modSource;
  if (modSource != 0) {
    const float* second = sourceBuffer(modSource);
    if (second == nullptr) return;
    float* b = scratchB_.data();
    _applyTransform(isMidiValued(modSource, isGlobalPass) ? ZRDSPModMatrixTransform::midi
                                                          : ZRDSPModMatrixTransform::plain,
                    second, b, frames, false);
    const float modAmount = row.modAmount;
    for (int i = 0; i < frames; ++i) a[i] *= b[i] * modAmount;
  }
  const float amount = row.amount;
  const float gain = row.depth != nullptr ? row.depth->normalizedValue() * amount : amount;
  for (int i = 0; i < frames; ++i) destination[i] += a[i] * gain;
}

void ZRDSPModMatrix::runGlobalMatrix(int frames) noexcept {
  for (int r = 0; r < matrixCore_->usedRows; ++r) {
    const modMatrixRow* row = matrixCore_->rows[static_cast<std::size_t>(r)].get();
    if (row == nullptr || !row->isGlobal || !row->active || depths_[static_cast<std::size_t>(r)] == 0.0F)
      continue;
    float* source = matrixCore_->globalSourceBuffer(std::abs(row->source));
    if (source != nullptr) runRow(*row, source, true, frames);
  }
}

void ZRDSPModMatrix::runMatrix(int frames) noexcept {
  if (matrixCore_ == nullptr) return;
  clearDestinations(frames);
  if (!enabled) return;
  runGlobalMatrix(frames);
  for (int r = 0; r < matrixCore_->usedRows; ++r) {
    const modMatrixRow* row = matrixCore_->rows[static_cast<std::size_t>(r)].get();
    if (row == nullptr || row->isGlobal || !row->active || depths_[static_cast<std::size_t>(r)] == 0.0F)
      continue;
    float* source = sourceBuffer(row->source);
    if (source != nullptr) runRow(*row, source, false, frames);
  }
}

}  // namespace morv
