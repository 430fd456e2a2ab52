#include "ltc/LTCOutputGenerator.h"

#include <utility>

namespace tallyrig {

LTCOutputGenerator::LTCOutputGenerator(const HostClock& clock, Scheduler& scheduler, Log& log, AudioSystem& audio,
                                       LTCAudioInputHub& hub)
    : clock_(clock), scheduler_(scheduler), log_(log), audio_(audio), hub_(hub) {}

LTCOutputGenerator::~LTCOutputGenerator() {
  shutDown();
}

void LTCOutputGenerator::start(const LTCOutputSession::Settings& settings) {
  stop();
  auto session = std::make_shared<LTCOutputSession>(settings, clock_, scheduler_, log_);
  // What a session that has been replaced still sends is not taken for the new one's.
  const auto fromSession = [this, weak = std::weak_ptr(session)](auto handler) {
    return lifetime_.guard([this, weak, handler](auto&&... arguments) {
      const auto sender = weak.lock();
      if (sender && sender == session_) handler(arguments...);
    });
  };
  SerialQueue& main = scheduler_.mainQueue();
  auto anchorOnMain = fromSession([this](const TimecodeAnchor& anchor) { handleAnchor(anchor); });
  auto underrunOnMain = fromSession([this] { handleUnderrun(); });
  session->onAnchor = [&main, anchorOnMain](const TimecodeAnchor& anchor) {
    main.post([anchorOnMain, anchor] { anchorOnMain(anchor); });
  };
  session->onUnderrun = [&main, underrunOnMain] { main.post(underrunOnMain); };

  if (const auto error = open(*session)) {
    errorMessage_ = error->description();
    log_.timed("LTCOutput: failed to start — " + *errorMessage_);
    session->close();
  } else {
    session_ = std::move(session);
    isGenerating_ = true;
    errorMessage_.reset();
  }
  emit stateChanged();
}

std::optional<LTCOutputError> LTCOutputGenerator::open(LTCOutputSession& session) {
  const AudioOutputDevice& device = session.device();
  double sampleRate = 0;
  if (const auto status = audio_.nominalSampleRate(device.id, sampleRate); status != kPlatformOk) {
    return LTCOutputError{LTCOutputError::Kind::osStatus, status};
  }
  if (const auto error = session.configure(sampleRate)) return error;

  const auto refused =
      hub_.attachOutput(device.id, device.name, sharedOutputID_,
                        [renderer = session.renderer()](std::span<AudioBuffer> buffers, const AudioTimeStamp& time) {
                          renderer->render(buffers, time, false);
                        });
  if (refused) return openOwnIO(session, sampleRate);
  usesSharedDeviceSession_ = true;
  log_.timed(formatted("LTCOutput: using shared full-duplex session %s, channel %lld", device.name.c_str(),
                       static_cast<long long>(session.channel()) + 1));
  return std::nullopt;
}

std::optional<LTCOutputError> LTCOutputGenerator::openOwnIO(LTCOutputSession& session, double sampleRate) {
  using Kind = LTCOutputError::Kind;
  const AudioOutputDevice& device = session.device();
  std::unique_ptr<AudioIO> io;
  const auto created = audio_.createIO(
      device.id,
      [renderer = session.renderer()](const AudioCycle& cycle) {
        renderer->render(cycle.output, cycle.outputTime, true);
      },
      io);
  if (created != kPlatformOk) return LTCOutputError{Kind::osStatus, created};
  if (!io) return LTCOutputError{Kind::missingIOProc};
  if (const auto started = io->start(); started != kPlatformOk) return LTCOutputError{Kind::osStatus, started};
  ownIO_ = std::move(io);

  const auto timing = audio_.timing(device.id);
  log_.line(formatted("LTCOutput: opened %s, channel %lld, layout %s @ %lldHz, buffer %uf, latency %uf, safety %uf",
                      device.name.c_str(), static_cast<long long>(session.channel()) + 1,
                      layoutText(device.channelGroups).c_str(), static_cast<long long>(sampleRate),
                      timing.bufferFrames.value_or(0), timing.outputLatency.value_or(0),
                      timing.outputSafetyOffset.value_or(0)));
  return std::nullopt;
}

void LTCOutputGenerator::stop() {
  shutDown();
  currentAnchor_.reset();
  isGenerating_ = false;
  errorMessage_.reset();
  emit stateChanged();
}

void LTCOutputGenerator::shutDown() {
  if (usesSharedDeviceSession_) hub_.detachOutput(sharedOutputID_);
  usesSharedDeviceSession_ = false;
  if (ownIO_) {
    ownIO_->stop();
    ownIO_.reset();
  }
  if (session_) session_->close();
  session_.reset();
}

void LTCOutputGenerator::requestBoundaryStop(std::function<void(const TimecodeAnchor&)> completion) {
  if (!session_) return;
  auto finish = lifetime_.guard([this, weak = std::weak_ptr(session_)](const TimecodeAnchor& anchor) {
    const auto sender = weak.lock();
    if (sender && sender == session_) finishBoundaryStop(anchor);
  });
  auto onMain = [finish, completion = std::move(completion)](const TimecodeAnchor& anchor) {
    finish(anchor);
    if (completion) completion(anchor);
  };
  session_->requestBoundaryStop([&main = scheduler_.mainQueue(), onMain](const TimecodeAnchor& anchor) {
    main.post([onMain, anchor] { onMain(anchor); });
  });
}

void LTCOutputGenerator::finishBoundaryStop(const TimecodeAnchor& anchor) {
  handleAnchor(anchor);
  shutDown();
  isGenerating_ = false;
  errorMessage_.reset();
  emit stateChanged();
}

void LTCOutputGenerator::handleAnchor(const TimecodeAnchor& anchor) {
  currentAnchor_ = anchor;
  isGenerating_ = true;
  emit currentAnchorChanged(anchor);
}

void LTCOutputGenerator::handleUnderrun() {
  errorMessage_ = "Audio output underrun";
  log_.timed("LTCOutput: audio output underrun");
  emit stateChanged();
}

}  // namespace tallyrig
