#include "reader/OutputReservationRegistry.h"

namespace tallyrig {

bool OutputReservationRegistry::reserve(const OutputReservation& reservation, const QUuid& owner) {
  const auto held = owners_.find(reservation);
  if (held != owners_.end() && held->second != owner) return false;
  releaseAll(owner);
  owners_[reservation] = owner;
  return true;
}

void OutputReservationRegistry::releaseAll(const QUuid& owner) {
  std::erase_if(owners_, [&](const auto& entry) { return entry.second == owner; });
}

}  // namespace tallyrig
