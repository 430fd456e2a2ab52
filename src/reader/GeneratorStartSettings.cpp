#include "reader/GeneratorStartSettings.h"

#include <QStringList>
#include <algorithm>
#include <charconv>
#include <chrono>
#include <string>

#include "reader/QtText.h"
#include "reader/TimeOfDay.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;

/// A decimal integer with or without a sign, and nothing beside it; 0 for any other text.
std::int64_t numberIn(const QString& part) {
  const std::string text = part.toStdString();
  const char* first = text.data();
  const char* last = first + text.size();
  if (text.starts_with('+') && !text.starts_with("+-")) ++first;
  std::int64_t value = 0;
  const auto [end, error] = std::from_chars(first, last, value);
  return error == std::errc() && end == last ? value : 0;
}

}  // namespace

GeneratorStartSettings::GeneratorStartSettings(ReaderSnapshot& draft, const ReaderServices& services)
    : draft_(draft), wallClock_(services.wallClock), scheduler_(services.scheduler) {
  if (draft_.generatorStartMode == GeneratorStartMode::utc) draft_.generatorStartMode = GeneratorStartMode::localTime;
  writeText();
  followMode();
}

void GeneratorStartSettings::settleText() {
  const QStringList parts = text_.split(':');
  if (parts.size() == 4) {
    const auto field = [&](int part, std::int64_t top) {
      return std::clamp<std::int64_t>(numberIn(parts[part]), 0, top);
    };
    draft_.generatorStartHours = field(0, 23);
    draft_.generatorStartMinutes = field(1, 59);
    draft_.generatorStartSeconds = field(2, 59);
    draft_.generatorStartFrames = field(3, maxFrameField(draft_.generatorFrameRate));
  }
  writeText();
  emit edited();
}

QString GeneratorStartSettings::mode() const {
  return toQString(rawValue(draft_.generatorStartMode));
}

void GeneratorStartSettings::setMode(const QString& raw) {
  const auto mode = fromRawValue<GeneratorStartMode>(raw.toStdString());
  if (mode != GeneratorStartMode::manual && mode != GeneratorStartMode::localTime) return;
  draft_.generatorStartMode = *mode;
  followMode();
  emit edited();
}

void GeneratorStartSettings::setText(const QString& text) {
  if (text_ == text) return;
  text_ = text;
  emit edited();
}

QString GeneratorStartSettings::timeOfDayText() const {
  return toQString(timeOfDayNow().text());
}

void GeneratorStartSettings::captureTimeOfDay() {
  const Timecode now = timeOfDayNow();
  draft_.generatorStartHours = now.hours;
  draft_.generatorStartMinutes = now.minutes;
  draft_.generatorStartSeconds = now.seconds;
  draft_.generatorStartFrames = now.frames;
  writeText();
}

void GeneratorStartSettings::writeText() {
  text_ = toQString(Timecode{draft_.generatorStartHours, draft_.generatorStartMinutes, draft_.generatorStartSeconds,
                             draft_.generatorStartFrames, draft_.generatorFrameRate}
                        .text());
}

void GeneratorStartSettings::followMode() {
  redraw_.reset();
  if (draft_.generatorStartMode != GeneratorStartMode::localTime) return;
  captureTimeOfDay();
  redraw_ = scheduler_.mainQueue().repeat({.interval = 100ms, .leeway = 10ms, .first = 100ms},
                                          lifetime_.guard([this] { emit timeOfDayMoved(); }));
}

Timecode GeneratorStartSettings::timeOfDayNow() const {
  const auto moment = wallClock_.now();
  return timeOfDay(moment, wallClock_.utcOffset(moment), draft_.generatorFrameRate);
}

}  // namespace tallyrig
