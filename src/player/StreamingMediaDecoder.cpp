#include "player/StreamingMediaDecoder.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <numeric>
#include <utility>

#include "player/FileMediaAudioRouterError.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;

using Kind = FileMediaAudioRouterError::Kind;

constexpr double kPrimeSeconds = 0.25;
constexpr auto kWaitForRoom = 5ms;
constexpr std::int64_t kPieceFrames = 4096;
constexpr std::int64_t kMostPieceBytes = 8'388'608;
// What the converter's filter reaches back, at the least.
constexpr std::int64_t kFilterFrames = 256;

}  // namespace

StreamingMediaDecoder::StreamingMediaDecoder(std::shared_ptr<StreamingMediaPlaybackSession> session,
                                             double startSeconds, MediaFiles& files, SampleRateConverters& converters,
                                             std::shared_ptr<SerialQueue> queue, Reports reports)
    : session_(std::move(session)),
      startSeconds_(startSeconds),
      files_(files),
      converters_(converters),
      queue_(std::move(queue)),
      reports_(std::move(reports)) {}

void StreamingMediaDecoder::start() {
  queue_->post([self = shared_from_this()] { self->open(); });
}

void StreamingMediaDecoder::open() {
  if (session_->isCancelled()) return;
  const double duration = session_->settings().stream.durationSeconds;
  if (duration > 0 && startSeconds_ >= duration) {
    reportReadyOnce();
    return;
  }
  if (openReader()) step();
}

bool StreamingMediaDecoder::openReader() {
  const StreamingMediaAudio& stream = session_->settings().stream;
  auto opened = std::make_shared<OpenFile>();
  if (const auto error = files_.open(stream.url, opened->file)) return fail(error.message());
  const auto& tracks = opened->file->description().audioTracks;
  if (tracks.empty()) return fail(FileMediaAudioRouterError{Kind::noAudioTrack}.description());
  if (const auto error = opened->file->openAudio(0, opened->reader)) return fail(error.message());
  // The file may have been replaced by another since it was described.
  const AudioFormat expected{stream.sampleRate, stream.channelCount};
  if (!opened->reader || opened->reader->format() != expected || !makeConverter()) {
    return fail(FileMediaAudioRouterError{Kind::readerCouldNotStart}.description());
  }
  AudioReader* const reader = opened->reader.get();
  reader_ = {std::move(opened), reader};
  if (!session_->registerReader(reader_)) return false;

  const auto frame = static_cast<std::int64_t>(std::llround(std::max(startSeconds_, 0.0) * stream.sampleRate));
  std::int64_t early = 0;
  if (converter_) {
    // The filter begins on the sound before the start, by a span that is whole in both rates.
    const auto from = static_cast<std::int64_t>(stream.sampleRate);
    const auto to = static_cast<std::int64_t>(session_->settings().outputRate);
    const std::int64_t divisor = std::max<std::int64_t>(std::gcd(from, to), 1);
    const std::int64_t unit = std::max<std::int64_t>(from / divisor, 1);
    const std::int64_t wanted = (kFilterFrames + unit - 1) / unit * unit;
    early = std::min(wanted, frame / unit * unit);
    surplus_ = static_cast<std::size_t>(early / unit * (to / divisor) * stream.channelCount);
  }
  if (frame - early > 0) {
    if (const auto error = reader_->seek(frame - early)) return fail(error.message());
  }
  return true;
}

bool StreamingMediaDecoder::makeConverter() {
  const auto& settings = session_->settings();
  if (settings.stream.sampleRate == settings.outputRate) return true;
  converter_ = converters_.make(settings.stream.sampleRate, settings.outputRate, settings.stream.channelCount);
  return converter_ != nullptr;
}

void StreamingMediaDecoder::step() {
  if (session_->isCancelled()) return close();
  if (!offerPending()) return again(kWaitForRoom);
  if (atEnd_) return finish();
  if (!readPiece()) return;
  again(0ms);
}

bool StreamingMediaDecoder::readPiece() {
  const std::int64_t channels = session_->ring().channelCount();
  const auto bytes = channels * static_cast<std::int64_t>(sizeof(float));
  const std::int64_t frames = std::clamp<std::int64_t>(kMostPieceBytes / bytes, 1, kPieceFrames);
  piece_.resize(static_cast<std::size_t>(frames * channels));
  std::size_t count = 0;
  if (const auto error = reader_->read(piece_, count)) return fail(error.message());
  const std::span<const float> read(piece_.data(), count * static_cast<std::size_t>(channels));
  if (count > static_cast<std::size_t>(frames)) {
    return fail(FileMediaAudioRouterError{Kind::missingPCMData}.description());
  }
  atEnd_ = count == 0;

  pending_.clear();
  offered_ = 0;
  if (!converter_) {
    pending_.assign(read.begin(), read.end());
  } else if (atEnd_) {
    converter_->finish(pending_);
  } else {
    converter_->convert(read, pending_);
  }
  const std::size_t early = std::min(surplus_, pending_.size());
  surplus_ -= early;
  offered_ = early;
  hasData_ = hasData_ || pending_.size() > early;
  return true;
}

bool StreamingMediaDecoder::offerPending() {
  auto& ring = session_->ring();
  const std::int64_t channels = ring.channelCount();
  const auto left = static_cast<std::int64_t>(pending_.size() - offered_) / channels;
  const std::int64_t taken = ring.write(pending_.data() + offered_, left);
  offered_ += static_cast<std::size_t>(taken * channels);
  const auto prime =
      std::max<std::int64_t>(1, static_cast<std::int64_t>(session_->settings().outputRate * kPrimeSeconds));
  if (ring.availableFrames() >= prime || taken < left) reportReadyOnce();
  return taken == left;
}

void StreamingMediaDecoder::finish() {
  // The end is where the file says, so a start before it must have found something.
  if (startSeconds_ > 0 && !hasData_) {
    fail(FileMediaAudioRouterError{Kind::missingPCMData}.description());
    return;
  }
  close();
  reportReadyOnce();
}

void StreamingMediaDecoder::reportReadyOnce() {
  if (std::exchange(reportedReady_, true)) return;
  reports_.ready();
}

bool StreamingMediaDecoder::fail(const std::string& text) {
  close();
  if (!session_->isCancelled()) reports_.failed(text);
  return false;
}

void StreamingMediaDecoder::close() {
  if (reader_) session_->clearReader(reader_);
  reader_.reset();
  converter_.reset();
}

void StreamingMediaDecoder::again(std::chrono::nanoseconds delay) {
  const auto next = [self = shared_from_this()] { self->step(); };
  if (delay > 0ns) {
    queue_->postAfter(delay, next);
  } else {
    queue_->post(next);
  }
}

}  // namespace tallyrig
