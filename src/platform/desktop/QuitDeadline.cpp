#include "platform/desktop/QuitDeadline.h"

#include <cstdlib>

namespace tallyrig {

void QuitDeadline::begin() {
  watcher_ = std::jthread([this](const std::stop_token& stop) { watch(stop); });
}

void QuitDeadline::watch(const std::stop_token& stop) {
  std::unique_lock lock(mutex_);
  bool isHeld = true;
  while (isHeld) {
    changed_.wait(lock, stop, [this] { return holds_ == 0; });
    isHeld = changed_.wait_for(lock, stop, patience_, [this] { return holds_ != 0; });
    if (stop.stop_requested()) return;
  }
  // The lock is kept, so that nothing can be begun any more that must not be cut short.
  log_.line("QuitDeadline: ending without waiting for a file that does not answer");
  std::_Exit(EXIT_SUCCESS);
}

QuitDeadline::Hold::Hold(QuitDeadline& deadline) : deadline_(deadline) {
  const std::lock_guard lock(deadline_.mutex_);
  ++deadline_.holds_;
}

QuitDeadline::Hold::~Hold() {
  const std::lock_guard lock(deadline_.mutex_);
  --deadline_.holds_;
  deadline_.changed_.notify_all();
}

}  // namespace tallyrig
