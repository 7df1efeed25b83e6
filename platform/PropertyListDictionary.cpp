#include "platform/PropertyListDictionary.h"

#include <algorithm>

#include "platform/PropertyListValue.h"

namespace morv {

PropertyListDictionary::PropertyListDictionary() = default;
PropertyListDictionary::~PropertyListDictionary() = default;
PropertyListDictionary::PropertyListDictionary(const PropertyListDictionary& other) = default;
PropertyListDictionary::PropertyListDictionary(PropertyListDictionary&& other) noexcept = default;
PropertyListDictionary& PropertyListDictionary::operator=(const PropertyListDictionary& other) = default;
PropertyListDictionary& PropertyListDictionary::operator=(PropertyListDictionary&& other) noexcept = default;

PropertyListDictionary::PropertyListDictionary(std::initializer_list<Entry> entries) {
  for (const auto& [key, value] : entries) set(key, value);
}

void PropertyListDictionary::set(std::string_view key, PropertyListValue value) {
  const auto [place, isNew] = places_.try_emplace(std::string(key), entries_.size());
  if (isNew) {
    entries_.emplace_back(place->first, std::move(value));
  } else {
    entries_[place->second].second = std::move(value);
  }
}

bool PropertyListDictionary::remove(std::string_view key) {
  const auto found = places_.find(std::string(key));
  if (found == places_.end()) return false;
  const std::size_t gone = found->second;
  places_.erase(found);
  entries_.erase(entries_.begin() + static_cast<std::ptrdiff_t>(gone));
  for (auto& [name, place] : places_) {
    if (place > gone) --place;
  }
  return true;
}

const PropertyListValue* PropertyListDictionary::find(std::string_view key) const {
  const auto found = places_.find(std::string(key));
  return found != places_.end() ? &entries_[found->second].second : nullptr;
}

PropertyListValue* PropertyListDictionary::find(std::string_view key) {
  const auto found = places_.find(std::string(key));
  return found != places_.end() ? &entries_[found->second].second : nullptr;
}

std::size_t PropertyListDictionary::size() const noexcept { return entries_.size(); }

bool PropertyListDictionary::empty() const noexcept { return entries_.empty(); }

bool PropertyListDictionary::operator==(const PropertyListDictionary& other) const {
  if (entries_.size() != other.entries_.size()) return false;
  return std::all_of(entries_.begin(), entries_.end(), [&other](const Entry& entry) {
    const PropertyListValue* theirs = other.find(entry.first);
    return theirs != nullptr && *theirs == entry.second;
  });
}

}  // namespace morv
