#include "app/TerminationSignals.h"

#include <sys/signalfd.h>
#include <unistd.h>

#include <csignal>

namespace tallyrig {

TerminationSignals::TerminationSignals() {
  sigset_t signalSet;
  sigemptyset(&signalSet);
  sigaddset(&signalSet, SIGTERM);
  sigaddset(&signalSet, SIGINT);
  descriptor_ = signalfd(-1, &signalSet, SFD_CLOEXEC | SFD_NONBLOCK);
  if (descriptor_ >= 0) pthread_sigmask(SIG_BLOCK, &signalSet, nullptr);
}

TerminationSignals::~TerminationSignals() {
  notifier_.reset();
  if (descriptor_ >= 0) close(descriptor_);
}

void TerminationSignals::listen() {
  if (descriptor_ < 0) return;
  notifier_ = std::make_unique<QSocketNotifier>(descriptor_, QSocketNotifier::Read);
  connect(notifier_.get(), &QSocketNotifier::activated, this, [this] {
    signalfd_siginfo info;
    if (read(descriptor_, &info, sizeof info) == sizeof info) emit requested();
  });
}

}  // namespace tallyrig
