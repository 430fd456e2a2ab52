#include "app/SoundServerWatch.h"

namespace tallyrig {

SoundServerWatch::SoundServerWatch(AudioSystem& audio, DeviceRegistry& registry, LTCAudioInputHub& hub)
    : audio_(audio), registry_(registry), hub_(hub), notice_(QString::fromStdString(audio.notice())) {
  subscription_ = audio_.observeDevices([this] { check(); });
}

void SoundServerWatch::check() {
  const QString notice = QString::fromStdString(audio_.notice());
  if (notice == notice_) return;
  notice_ = notice;
  registry_.refresh("sound-server");
  if (notice_.isEmpty()) hub_.scheduleRebuild(true);
  emit noticeChanged();
}

}  // namespace tallyrig
