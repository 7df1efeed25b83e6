#include "platform/NotificationCenter.h"

#include <utility>

namespace morv {

NotificationCenter::NotificationCenter() : entries_(std::make_shared<Entries>()) {}

NotificationCenter::~NotificationCenter() { entries_->clear(); }

NotificationCenter::Token NotificationCenter::addObserver(const std::string& name, Observer observer) {
  return entries_->add({name, std::move(observer), nullptr});
}

NotificationCenter::Token NotificationCenter::addObserver(const std::string& name, MainQueue& queue,
                                                          Observer observer) {
  return entries_->add({name, std::move(observer), &queue});
}

void NotificationCenter::removeObserver(Token token) { entries_->remove(token); }

void NotificationCenter::post(const std::string& name) {
  entries_->forEach([&](Token token, const Entry& entry) {
    if (entry.name != name) return;
    if (entry.queue == nullptr) {
      entry.observer();
      return;
    }
    entry.queue->post([entries = entries_, token] {
      entries->forOne(token, [](Token, const Entry& due) { due.observer(); });
    });
  });
}

}  // namespace morv
