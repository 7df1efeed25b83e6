#include "platform/KeyValueObservers.h"

#include <algorithm>
#include <utility>

namespace morv {

KeyValueObservers::Token KeyValueObservers::add(const std::string& key, Observer observer) {
  entries_.push_back({nextToken_, key, std::move(observer)});
  return nextToken_++;
}

void KeyValueObservers::remove(Token token) {
  std::erase_if(entries_, [token](const Entry& each) { return each.token == token; });
}

// Those of the moment are told, but none that another of them has removed.
void KeyValueObservers::tell(const std::string& key, Moment moment) {
  const std::vector<Entry> told = entries_;
  for (const Entry& each : told) {
    const bool stillThere = std::any_of(entries_.begin(), entries_.end(),
                                        [&](const Entry& held) { return held.token == each.token; });
    if (stillThere && each.key == key) each.observer(moment);
  }
}

}  // namespace morv
