#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace tallyrig {

class RigClient;

/// One buffer of samples per channel.
using RigSamples = std::vector<std::vector<float>>;

/// The channels of an audio file. Throws std::runtime_error if it cannot be read.
RigSamples readSoundFile(const std::filesystem::path& path);

/// Plays samples into, or records them from, chosen ports of a node, as a client of the server of its own. The node is
/// any on the server: a virtual device or the program under test. Throws std::runtime_error when the node has no such
/// port. Must go before its client.
class RigSound {
 public:
  /// Plays `samples[n]` into the in-port number `ports[n]` of `node`, all from the same cycle on, then silence.
  /// With a `rate` it asks the server to run at that many hertz.
  static std::unique_ptr<RigSound> play(RigClient& client, const std::string& node, const std::vector<int>& ports,
                                        RigSamples samples, int rate = 0);
  /// Records the out-ports `ports` of `node`, `frames` long. A sink's out-ports are its monitors.
  static std::unique_ptr<RigSound> record(RigClient& client, const std::string& node, const std::vector<int>& ports,
                                          std::size_t frames);
  ~RigSound();
  RigSound(const RigSound&) = delete;
  RigSound& operator=(const RigSound&) = delete;

  /// Until all has been played or recorded. Throws std::runtime_error if that does not happen within `limit`.
  void waitUntilDone(std::chrono::milliseconds limit);
  /// When the first sample was, or will have been, at the device's connector: nanoseconds of CLOCK_MONOTONIC. 0 before
  /// the first cycle.
  std::uint64_t startNanos() const;
  /// How many times the server left out cycles in between. With 0 the samples are one unbroken piece.
  int gaps() const;
  /// What was recorded. Only when done.
  const RigSamples& samples() const;

 private:
  class Filter;
  explicit RigSound(std::unique_ptr<Filter> filter);

  std::unique_ptr<Filter> filter_;
};

}  // namespace tallyrig
