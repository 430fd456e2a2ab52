#include "platform/desktop/TimerTable.h"

#include <utility>

namespace tallyrig {

TimerTable::Key TimerTable::keyOf(const TimedEvent& event) {
  return {event.plan.expiry(), event.plan.deadline(), event.order};
}

void TimerTable::add(std::shared_ptr<TimedEvent> event) {
  event->order = nextOrder_++;
  const Key key = keyOf(*event);
  events_.emplace(key, std::move(event));
}

void TimerTable::remove(const TimedEvent& event) {
  const auto found = events_.find(keyOf(event));
  if (found != events_.end() && found->second.get() == &event) events_.erase(found);
}

std::optional<TimerTable::Instant> TimerTable::earliest() const {
  if (events_.empty()) return std::nullopt;
  return std::get<0>(events_.begin()->first);
}

std::vector<std::shared_ptr<TimedEvent>> TimerTable::takeDue(Instant now) {
  std::vector<std::shared_ptr<TimedEvent>> due;
  while (!events_.empty() && std::get<0>(events_.begin()->first) <= now) {
    auto node = events_.extract(events_.begin());
    due.push_back(node.mapped());
    TimedEvent& event = *node.mapped();
    if (!event.repeats) continue;
    event.plan.advance(now);
    node.key() = keyOf(event);
    events_.insert(std::move(node));
  }
  return due;
}

std::vector<std::shared_ptr<TimedEvent>> TimerTable::takeAll() {
  std::vector<std::shared_ptr<TimedEvent>> all;
  for (auto& [key, event] : std::exchange(events_, {})) all.push_back(std::move(event));
  return all;
}

}  // namespace tallyrig
