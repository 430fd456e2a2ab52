#pragma once

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdint>
#include <ctime>
#include <map>
#include <vector>

#include "platform/AudioSystem.h"

namespace tallyrig {

/// A device callback that numbers every sample it plays, each channel in its own range, and writes down what comes
/// back. On a device that loops its outputs to its inputs every sample tells when and where it was played.
class LoopProbe {
 public:
  LoopProbe(int channels, std::size_t cycles) : channels_(channels), cycles_(cycles) {
    for (auto& cycle : cycles_) cycle.first.resize(static_cast<std::size_t>(channels));
  }

  /// The device callback.
  void cycle(const AudioCycle& cycle) {
    const std::size_t index = count_.load(std::memory_order_relaxed);
    if (index == cycles_.size()) return;
    Record& record = cycles_[index];
    record.calledAt = monotonicNanos();
    record.inputTime = cycle.inputTime.hostTime.ticks;
    record.outputTime = cycle.outputTime.hostTime.ticks;
    record.valid = cycle.inputTime.hostTimeValid && cycle.outputTime.hostTimeValid;
    record.sizesAgree =
        cycle.input.size() == static_cast<std::size_t>(channels_) && cycle.output.size() == cycle.input.size();
    if (record.sizesAgree) {
      record.frames = cycle.output[0].byteSize / static_cast<std::uint32_t>(sizeof(float));
      record.firstFrame = played_;
      for (std::size_t channel = 0; channel < cycle.input.size(); ++channel) {
        play(static_cast<std::int64_t>(channel), cycle.output[channel], record);
        listen(cycle.input[channel], channel, record);
      }
      played_ += record.frames;
    }
    count_.store(index + 1, std::memory_order_release);
  }

  std::size_t count() const { return count_.load(std::memory_order_acquire); }
  bool isFull() const { return count() == cycles_.size(); }

  struct Verdict {
    /// Cycles whose samples all came back from where and when they were played.
    int exact = 0;
    /// Cycles in silence, before the first sound has come round, and those in which some channels have it already: the
    /// server makes one link after the other.
    int silent = 0;
    /// Cycles right after one that the machine was too busy for: left out by the server, or run after its end.
    int afterStall = 0;
    int wrong = 0;
  };

  /// What the recorded cycles say, at `rate` hertz. Not while the callback runs.
  Verdict verdict(double rate) const {
    Verdict verdict;
    std::map<std::int64_t, const Record*> byFirstFrame;
    for (std::size_t index = 0; index < count(); ++index) byFirstFrame[cycles_[index].firstFrame] = &cycles_[index];
    for (std::size_t index = 0; index < count(); ++index) {
      const Record& record = cycles_[index];
      if (!record.valid || !record.sizesAgree) {
        ++verdict.wrong;
      } else if (record.silent) {
        ++verdict.silent;
      } else if (isAfterStall(index, rate)) {
        ++verdict.afterStall;
      } else if (isExact(record, byFirstFrame, rate)) {
        ++verdict.exact;
      } else {
        const bool beginning = verdict.exact == 0 && std::ranges::find(record.first, 0) != record.first.end();
        ++(beginning ? verdict.silent : verdict.wrong);
      }
    }
    return verdict;
  }

 private:
  struct Record {
    std::uint64_t calledAt = 0;
    std::uint64_t inputTime = 0;
    std::uint64_t outputTime = 0;
    std::int64_t firstFrame = 0;
    std::uint32_t frames = 0;
    bool valid = false;
    bool sizesAgree = false;
    bool unbroken = true;
    bool silent = true;
    /// The first sample of each input, as a number.
    std::vector<std::int64_t> first;
  };

  static constexpr std::int64_t kRange = 1 << 16;
  /// Exact in a float: 24 bits.
  static constexpr float kScale = 1.0F / (1 << 24);

  /// The host clock's ticks. Not through `HostClock`: a check of a virtual call can make a system call.
  static std::uint64_t monotonicNanos() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::uint64_t>(now.tv_sec) * 1'000'000'000U + static_cast<std::uint64_t>(now.tv_nsec);
  }

  void play(std::int64_t channel, AudioBuffer& buffer, Record& record) const {
    record.sizesAgree =
        record.sizesAgree && buffer.channelCount == 1 && buffer.byteSize == record.frames * sizeof(float);
    for (std::uint32_t frame = 0; frame < record.frames; ++frame) {
      record.unbroken = record.unbroken && buffer.data[frame] == 0.0F;
      buffer.data[frame] = static_cast<float>(channel * kRange + (played_ + frame) % (kRange - 1) + 1) * kScale;
    }
  }

  static void listen(const AudioBuffer& buffer, std::size_t channel, Record& record) {
    record.sizesAgree =
        record.sizesAgree && buffer.channelCount == 1 && buffer.byteSize == record.frames * sizeof(float);
    const auto number = [&](std::uint32_t frame) { return std::lround(buffer.data[frame] / kScale); };
    record.first[channel] = number(0);
    if (record.first[channel] != 0) record.silent = false;
    const std::int64_t base = static_cast<std::int64_t>(channel) * kRange;
    for (std::uint32_t frame = 1; frame < record.frames; ++frame) {
      const std::int64_t before = number(frame - 1);
      const std::int64_t expected = before == 0 ? 0 : base + (before - base - 1 + 1) % (kRange - 1) + 1;
      if (number(frame) != expected) record.unbroken = false;
    }
  }

  bool isAfterStall(std::size_t index, double rate) const {
    for (std::size_t near = index < 2 ? 0 : index - 2; near <= index; ++near) {
      const Record& record = cycles_[near];
      const double cycle = record.frames * 1e9 / rate;
      if (static_cast<double>(record.calledAt) > static_cast<double>(record.outputTime) + cycle) return true;
      if (near == 0) continue;
      const auto passed = static_cast<double>(record.outputTime - cycles_[near - 1].outputTime);
      if (std::abs(passed - cycle) > 1e9 / rate / 2) return true;
    }
    return false;
  }

  /// Every channel brings the samples of one played cycle, and the two stamps of each sample are one instant: to the
  /// few nanoseconds that the stamps are rounded to.
  static bool isExact(const Record& record, const std::map<std::int64_t, const Record*>& byFirstFrame, double rate) {
    if (!record.unbroken) return false;
    for (std::size_t channel = 0; channel < record.first.size(); ++channel) {
      if (record.first[channel] - static_cast<std::int64_t>(channel) * kRange != record.first[0]) return false;
    }
    // Sample numbers wrap: take the newest cycle that can have played this one.
    for (auto played = byFirstFrame.rbegin(); played != byFirstFrame.rend(); ++played) {
      const Record& source = *played->second;
      if (source.outputTime >= record.outputTime) continue;
      const std::int64_t start = source.firstFrame % (kRange - 1) + 1;
      const std::int64_t offset = record.first[0] - start;
      if (offset < 0 || offset >= source.frames) continue;
      const double instant =
          static_cast<double>(source.outputTime - record.inputTime) + static_cast<double>(offset) * 1e9 / rate;
      return std::abs(instant) <= 2.0;
    }
    return false;
  }

  const int channels_;
  std::vector<Record> cycles_;
  std::atomic<std::size_t> count_ = 0;
  std::int64_t played_ = 0;
};

}  // namespace tallyrig
