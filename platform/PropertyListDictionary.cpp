#include "platform/PropertyListDictionary.h"

#include <algorithm>
#include <atomic>
#include <unordered_map>

#include "platform/PropertyListValue.h"

namespace morv {

// Entries and their places, and how many dictionaries share them.
struct PropertyListDictionary::Storage {
  Storage() = default;
  Storage(const Storage& other) : entries(other.entries), places(other.places) {}
  Storage& operator=(const Storage&) = delete;

  static Storage* share(Storage* storage) noexcept {
    if (storage != nullptr) storage->owners.fetch_add(1, std::memory_order_relaxed);
    return storage;
  }
  // Whoever lets go last sees all that the others did before.
  static void release(Storage* storage) noexcept {
    if (storage != nullptr && storage->owners.fetch_sub(1, std::memory_order_acq_rel) == 1) delete storage;
  }

  std::atomic<std::size_t> owners{1};
  std::vector<Entry> entries;
  std::unordered_map<std::string, std::size_t> places;  // of each key in `entries`
};

PropertyListDictionary::PropertyListDictionary() = default;
PropertyListDictionary::~PropertyListDictionary() { Storage::release(storage_); }
PropertyListDictionary::PropertyListDictionary(const PropertyListDictionary& other)
    : storage_(Storage::share(other.storage_)) {}
PropertyListDictionary::PropertyListDictionary(PropertyListDictionary&& other) noexcept
    : storage_(std::exchange(other.storage_, nullptr)) {}

PropertyListDictionary& PropertyListDictionary::operator=(const PropertyListDictionary& other) {
  PropertyListDictionary copy(other);
  std::swap(storage_, copy.storage_);
  return *this;
}

PropertyListDictionary& PropertyListDictionary::operator=(PropertyListDictionary&& other) noexcept {
  PropertyListDictionary taken(std::move(other));
  std::swap(storage_, taken.storage_);
  return *this;
}

PropertyListDictionary::Storage& PropertyListDictionary::own() {
  if (storage_ == nullptr) {
    storage_ = new Storage;
  } else if (storage_->owners.load(std::memory_order_acquire) != 1) {
    Storage::release(std::exchange(storage_, new Storage(*storage_)));
  }
  return *storage_;
}

PropertyListDictionary::PropertyListDictionary(std::initializer_list<Entry> entries)
    : PropertyListDictionary() {
  for (const auto& [key, value] : entries) set(key, value);
}

void PropertyListDictionary::set(std::string_view key, PropertyListValue value) {
  Storage& storage = own();
  const auto [place, isNew] = storage.places.try_emplace(std::string(key), storage.entries.size());
  if (!isNew) {
    storage.entries[place->second].second = std::move(value);
    return;
  }
  try {
    storage.entries.emplace_back(place->first, std::move(value));
  } catch (...) {
    storage.places.erase(place);
    throw;
  }
}

bool PropertyListDictionary::remove(std::string_view key) {
  if (find(key) == nullptr) return false;
  Storage& storage = own();
  const auto found = storage.places.find(std::string(key));
  const std::size_t gone = found->second;
  storage.places.erase(found);
  storage.entries.erase(storage.entries.begin() + static_cast<std::ptrdiff_t>(gone));
  for (auto& [name, place] : storage.places) {
    if (place > gone) --place;
  }
  return true;
}

const PropertyListValue* PropertyListDictionary::find(std::string_view key) const {
  if (storage_ == nullptr) return nullptr;
  const auto found = storage_->places.find(std::string(key));
  return found != storage_->places.end() ? &storage_->entries[found->second].second : nullptr;
}

std::size_t PropertyListDictionary::size() const noexcept { return entries().size(); }

bool PropertyListDictionary::empty() const noexcept { return entries().empty(); }

const std::vector<PropertyListDictionary::Entry>& PropertyListDictionary::entries() const noexcept {
  static const std::vector<Entry> kNone;
  return storage_ != nullptr ? storage_->entries : kNone;
}

bool PropertyListDictionary::operator==(const PropertyListDictionary& other) const {
  if (storage_ == other.storage_) return true;
  if (size() != other.size()) return false;
  return std::all_of(entries().begin(), entries().end(), [&other](const Entry& entry) {
    const PropertyListValue* theirs = other.find(entry.first);
    return theirs != nullptr && *theirs == entry.second;
  });
}

}  // namespace morv
