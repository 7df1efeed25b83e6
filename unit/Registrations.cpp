#include "unit/Registrations.h"

#include <utility>

namespace morv {

Registrations::~Registrations() { undoAll(); }

void Registrations::undoAll() {
  while (!undos_.empty()) {
    const auto undo = std::move(undos_.back());
    undos_.pop_back();
    undo();
  }
}

}  // namespace morv
