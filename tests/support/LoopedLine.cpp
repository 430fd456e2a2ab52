#include "support/LoopedLine.h"

#include <cmath>

#include "support/Cards.h"

namespace tallyrig {
namespace {

constexpr double kDriftPpm = 20;

/// The first frame that a generator sends: its start goes through a conversion to its own rate twice, in which it can
/// land one frame lower.
Timecode firstSent(const Timecode& start) {
  return start.converted(start.frameRate).converted(start.frameRate);
}

}  // namespace

LoopedLine::LoopedLine(const Timecode& start, std::uint64_t seed)
    : wall_({.seed = seed}),
      desk_(wall_.world.audio().addDevice(
          {.name = "Desk", .inputGroups = {1}, .outputGroups = {1}, .quantum = 1024, .driftPpm = kDriftPpm})),
      start_(firstSent(start)),
      exact_(desk_, 0, start_, 48000),
      listener_(48000) {
  wall_.world.audio().connect(desk_, 0, desk_, 0);
  listener_.onFrame = [this](const LTCListener::Frame& frame) {
    if (frame.timecode != start_.advanced(heard_++)) ++wrongHeard_;
  };
  desk_.onOutput(0,
                 [this](std::int64_t position, std::span<const float> samples) { listener_.hear(position, samples); });
  wall_.openWith({generatorOn(desk_, 0, start), readerOn(desk_, 0)});
  wall_.world.runPending();
  ReaderInstance& reader = wall_.card(1);
  QObject::connect(&reader, &ReaderInstance::timecodeChanged, [this, &reader] {
    // A decoder that has heard nothing before finds its first frame within the first three.
    read_ = read_ == 0 ? start_.signedFrameDistance(*reader.currentTimecode()).value_or(0) : read_ + 1;
    if (read_ < 1 || (read_ > 3 && heard_ < 3) || reader.currentTimecode() != start_.advanced(read_)) ++wrongRead_;
  });
  wall_.card(0).toggleGenerator();
}

void LoopedLine::run(std::chrono::nanoseconds duration) {
  wall_.world.runFor(duration);
  ran_ += duration;
}

std::vector<std::string> LoopedLine::complaints() const {
  std::vector<std::string> all;
  const auto expect = [&all](bool holds, const std::string& otherwise) {
    if (!holds) all.push_back(otherwise);
  };
  const double expected =
      std::chrono::duration<double>(ran_).count() * (1 + kDriftPpm * 1e-6) * exactFrameRate(start_.frameRate);
  // The frame on the air, and a cycle on its way.
  constexpr double kUnderWay = 3;
  expect(exact_.strayCount() == 0, std::to_string(exact_.strayCount()) + " samples that are not the encoder's");
  expect(!exact_.end(), "the code ended");
  expect(listener_.brokenCount() == 0, std::to_string(listener_.brokenCount()) + " breaks in the code");
  expect(wrongHeard_ == 0, std::to_string(wrongHeard_) + " frames out of order at the output");
  expect(wrongRead_ == 0, std::to_string(wrongRead_) + " frames out of order on the reader");
  expect(std::abs(static_cast<double>(heard_) - expected) <= kUnderWay, std::to_string(heard_) + " frames sent");
  expect(std::abs(static_cast<double>(read_) - expected) <= kUnderWay, std::to_string(read_) + " frames read");
  expect(!wall_.world.hasLogged("underrun"), "an underrun");
  expect(!wall_.world.hasLogged("dropped"), "dropped audio");
  return all;
}

}  // namespace tallyrig
