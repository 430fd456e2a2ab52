#include "platform/simulated/DeviceTimeline.h"

#include <cstddef>

namespace tallyrig {
namespace {

constexpr Int128 kUnitsPerNano = static_cast<Int128>(1) << 48;
constexpr std::size_t kSegmentsKept = 16;

Int128 unitsPerFrame(double framesPerSecond) {
  return static_cast<Int128>(static_cast<long double>(kUnitsPerNano) * 1e9L / framesPerSecond);
}

Int128 floorDivision(Int128 value, Int128 divisor) {
  const Int128 quotient = value / divisor;
  return value % divisor < 0 ? quotient - 1 : quotient;
}

}  // namespace

std::chrono::nanoseconds FineTime::roundedUp() const {
  return std::chrono::nanoseconds{static_cast<std::int64_t>(floorDivision(units + kUnitsPerNano - 1, kUnitsPerNano))};
}

std::chrono::nanoseconds FineTime::rounded() const {
  return std::chrono::nanoseconds{static_cast<std::int64_t>(floorDivision(units + kUnitsPerNano / 2, kUnitsPerNano))};
}

DeviceTimeline::DeviceTimeline(std::chrono::nanoseconds origin, double framesPerSecond)
    : segments_{{0, FineTime::fromNanos(origin), unitsPerFrame(framesPerSecond)}} {}

void DeviceTimeline::changeRate(std::int64_t position, double framesPerSecond) {
  if (position < segments_.back().position) position = segments_.back().position;
  const Segment next{position, timeAt(position), unitsPerFrame(framesPerSecond)};
  if (next.position == segments_.back().position) segments_.pop_back();
  if (segments_.size() == kSegmentsKept) segments_.erase(segments_.begin());
  segments_.push_back(next);
}

FineTime DeviceTimeline::timeAt(std::int64_t position) const {
  auto segment = segments_.rbegin();
  while (segment->position > position && segment + 1 != segments_.rend()) ++segment;
  return {segment->start.units + (position - segment->position) * segment->unitsPerFrame};
}

DeviceTimeline::Place DeviceTimeline::placeAt(FineTime time) const {
  const Segment& segment = segmentAt(time);
  const Int128 distance = time.units - segment.start.units;
  const Int128 frames = floorDivision(distance, segment.unitsPerFrame);
  const Int128 rest = distance - frames * segment.unitsPerFrame;
  return {segment.position + static_cast<std::int64_t>(frames),
          static_cast<double>(rest) / static_cast<double>(segment.unitsPerFrame)};
}

bool DeviceTimeline::hasRateOf(const DeviceTimeline& other, FineTime time) const {
  return segmentAt(time).unitsPerFrame == other.segmentAt(time).unitsPerFrame;
}

const DeviceTimeline::Segment& DeviceTimeline::segmentAt(FineTime time) const {
  auto segment = segments_.rbegin();
  while (time < segment->start && segment + 1 != segments_.rend()) ++segment;
  return *segment;
}

}  // namespace tallyrig
