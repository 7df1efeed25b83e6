#include "modulation/ZRDSPModMatrix.h"

#include <algorithm>

#include "modulation/RowKernels.h"
#include "render/BlockLimits.h"

namespace morv {
namespace {

// Floats that each buffer gets beyond its length: keeps equal sample positions of different buffers off the
// same cache set.
constexpr std::ptrdiff_t kStrideStagger = 80;

std::size_t bufferCapacity(int blockSize) {
  return static_cast<std::size_t>(std::max(blockSize, kMaxBlockFrames) + kStrideStagger);
}

}  // namespace

std::shared_ptr<ZRDSPModMatrix> ZRDSPModMatrix::_instance;

ZRDSPModMatrix::ZRDSPModMatrix(int matrixBlockSize) : kernels_(rowKernels()) {
  setBlockSize(matrixBlockSize);
}

std::shared_ptr<ZRDSPModMatrix> ZRDSPModMatrix::initSingleton() {
  _instance = std::make_shared<ZRDSPModMatrix>(kSharedMatrixBlockSize);
  _instance->_createMatrixCore();
  return _instance;
}

std::shared_ptr<ZRDSPModMatrix> ZRDSPModMatrix::sharedMatrix() {
  return _instance != nullptr ? _instance : initSingleton();
}

void ZRDSPModMatrix::_createMatrixCore() {
  matrixCore = std::make_shared<ModMatrixCore>();
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
  writtenFrames_.fill(0);
  for (int i = 0; i < kNumBuiltInSources; ++i) {
    sourceStorage_.emplace_back(capacity);
    sourceBuffers[static_cast<std::size_t>(i)] = sourceStorage_.back().data();
  }
  for (std::size_t i = 0; i < ZRDSPModMatrixSourceNames.size(); ++i) {
    const std::string name(ZRDSPModMatrixSourceNames[i]);
    const int index = static_cast<int>(i);
    sources.push_back(std::make_unique<modMatrixSource>(modMatrixSource{name, index, false, true}));
    sourceNames[index] = name;
  }
}

int ZRDSPModMatrix::registerSource(ZRDSPEntity* entity, bool isGlobal, bool isPublic,
                                   const std::string& name) {
  const int number = registeredSourceCount + kNumBuiltInSources;
  const int index = isGlobal ? -number : number;
  ++registeredSourceCount;
  if (!isGlobal) {
    sourceStorage_.emplace_back(bufferCapacity(blockSize));
    sourceBuffers.at(static_cast<std::size_t>(index)) = sourceStorage_.back().data();
  }
  const std::string& sourceName = name.empty() && entity != nullptr ? entity->name : name;
  sourceNames[index] = sourceName;
  sources.push_back(
      std::make_unique<modMatrixSource>(modMatrixSource{sourceName, index, isGlobal, isPublic}));
  return index;
}

std::vector<const modMatrixSource*> ZRDSPModMatrix::getPublicSources() const {
  std::vector<const modMatrixSource*> list;
  for (const auto& source : sources) {
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
  const auto found = sourceNames.find(index);
  return found != sourceNames.end() ? found->second : std::string();
}

modMatrixRow* ZRDSPModMatrix::addRow(const std::string& identifier, const std::string& sourceName, int source,
                                     const std::string& destinationName, int destination,
                                     ZRDSPParameter* depth, float amount, int transform, bool isGlobal) {
  auto& slot = matrixCore->rows.at(static_cast<std::size_t>(rowCount));
  ++rowCount;
  if (slot != nullptr) return slot.get();
  slot = std::make_unique<modMatrixRow>();
  slot->identifier = identifier;
  slot->displayIdentifier = identifier;
  slot->source = source;
  slot->destinationIndex = destination;
  slot->depth = depth;
  slot->amount = amount;
  slot->firstAmount = amount;
  slot->transform = static_cast<ZRDSPModMatrixTransform>(transform);
  slot->isGlobal = isGlobal;
  slot->active = true;
  if (!sourceName.empty()) {
    slot->destination.index = destination;
    slot->destination.name = destinationName;
  }
  matrixCore->usedRows = std::max(matrixCore->usedRows, rowCount);
  if (destination >= 0 && destination < kMaxModRows)
    matrixCore->routed.set(static_cast<std::size_t>(destination));
  if (source >= 0 && source < kMaxModRows) matrixCore->taken.set(static_cast<std::size_t>(source));
  rowsByIdentifier[identifier] = slot.get();
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
  return matrixCore->rows[static_cast<std::size_t>(index)].get();
}

modMatrixRow* ZRDSPModMatrix::getRowWithIdentifier(const std::string& identifier) const {
  return rowsByIdentifier.at(identifier);
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

bool ZRDSPModMatrix::isRouted(int address) const noexcept {
  return matrixCore != nullptr && address >= 0 && address < kMaxModRows &&
         matrixCore->routed.test(static_cast<std::size_t>(address));
}

}  // namespace morv
