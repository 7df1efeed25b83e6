#include "platform/NotificationCenter.h"

#include <utility>
#include <vector>

namespace morv {

NotificationCenter::NotificationCenter() : registry_(std::make_shared<Registry>()) {}

NotificationCenter::~NotificationCenter() {
  const std::lock_guard lock(registry_->mutex);
  registry_->entries.clear();
}

NotificationCenter::Token NotificationCenter::addObserver(const std::string& name, Observer observer) {
  return add({name, std::move(observer), nullptr});
}

NotificationCenter::Token NotificationCenter::addObserver(const std::string& name, MainQueue& queue,
                                                          Observer observer) {
  return add({name, std::move(observer), &queue});
}

NotificationCenter::Token NotificationCenter::add(Entry entry) {
  const std::lock_guard lock(registry_->mutex);
  registry_->entries.emplace(registry_->next, std::move(entry));
  return registry_->next++;
}

void NotificationCenter::removeObserver(Token token) {
  const std::lock_guard lock(registry_->mutex);
  registry_->entries.erase(token);
}

void NotificationCenter::post(const std::string& name) {
  std::vector<std::pair<Token, MainQueue*>> told;
  {
    const std::lock_guard lock(registry_->mutex);
    for (const auto& [token, entry] : registry_->entries) {
      if (entry.name == name) told.emplace_back(token, entry.queue);
    }
  }
  for (const auto& [token, queue] : told) {
    if (queue == nullptr) {
      call(*registry_, token);
    } else {
      queue->post([registry = registry_, token = token] { call(*registry, token); });
    }
  }
}

void NotificationCenter::call(Registry& registry, Token token) {
  Observer observer;
  {
    const std::lock_guard lock(registry.mutex);
    const auto found = registry.entries.find(token);
    if (found == registry.entries.end()) return;
    observer = found->second.observer;
  }
  observer();
}

}  // namespace morv
