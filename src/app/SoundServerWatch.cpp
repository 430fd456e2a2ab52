#include "app/SoundServerWatch.h"

#include <chrono>

namespace tallyrig {
namespace {

using namespace std::chrono_literals;

/// Longer than the hub waits before it rebuilds.
constexpr auto kQuietAfterReturn = 1500ms;

}  // namespace

SoundServerWatch::SoundServerWatch(AudioSystem& audio, const ReaderServices& services, ReaderStore& store)
    : audio_(audio), services_(services), store_(store), notice_(QString::fromStdString(audio.notice())) {
  subscription_ = audio_.observeDevices([this] { check(); });
}

void SoundServerWatch::check() {
  const QString notice = QString::fromStdString(audio_.notice());
  if (notice != notice_) {
    notice_ = notice;
    isReturning_ = notice_.isEmpty();
    services_.registry.refresh("sound-server");
    emit noticeChanged();
  }
  if (!isReturning_) return;
  services_.hub.scheduleRebuild(true);
  const std::uint64_t generation = ++returnGeneration_;
  services_.scheduler.mainQueue().postAfter(kQuietAfterReturn, lifetime_.guard([this, generation] {
    if (isReturning_ && generation == returnGeneration_) finishReturn();
  }));
}

void SoundServerWatch::finishReturn() {
  isReturning_ = false;
  services_.registry.refresh("sound-server");
  store_.restartUnavailableReaders();
}

}  // namespace tallyrig
