#include "platform/pipewire/PipeWireAudioIO.h"

#include <utility>

namespace tallyrig {

PipeWireAudioIO::PipeWireAudioIO(std::shared_ptr<AudioGraph> graph, std::unique_ptr<DeviceSession> session)
    : graph_(std::move(graph)), session_(std::move(session)) {}

PipeWireAudioIO::~PipeWireAudioIO() {
  graph_->closeSession(std::move(session_));
}

PlatformStatus PipeWireAudioIO::start() {
  return graph_->startSession(*session_);
}

void PipeWireAudioIO::stop() {
  const PipeWireConnection::Lock lock(session_->connection());
  session_->setRunning(false);
}

void PipeWireAudioIO::betweenCycles(const std::function<void()>& change) {
  if (isCallbackContext()) {
    change();
    return;
  }
  const PipeWireConnection::Lock lock(session_->connection());
  session_->betweenCycles(change);
}

bool PipeWireAudioIO::isCallbackContext() const noexcept {
  return session_->connection().isDataThread();
}

}  // namespace tallyrig
