#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <span>
#include <string>

#include "platform/WavFile.h"
#include "timecode/Timecode.h"

namespace tallyrig {

/// The frame rates of LTC in a file. 23.976 has the numbers of 24, but longer frames.
enum class WAVFrameRate : int { fps2397, fps24, fps25, fps2997, fps30 };

constexpr std::array<WAVFrameRate, 5> kWAVFrameRates{WAVFrameRate::fps2397, WAVFrameRate::fps24, WAVFrameRate::fps25,
                                                     WAVFrameRate::fps2997, WAVFrameRate::fps30};

/// "23.976", "24", "25", "29.97 DF" or "30".
const char* wavRateLabel(WAVFrameRate rate) noexcept;
double wavFramesPerSecond(WAVFrameRate rate) noexcept;
/// The rate whose numbers it has.
MTCFrameRate wavNumbering(WAVFrameRate rate) noexcept;

/// A stretch of LTC to be written into a file. Plain value.
struct WAVStretch {
  /// Of the first frame. Its own rate is not looked at.
  Timecode startTimecode;
  WAVFrameRate frameRate = WAVFrameRate::fps25;
  /// In hertz.
  int sampleRate = 48000;
  /// 16 or 24.
  int bitDepth = 16;
  double levelDBFS = -6;
  std::int64_t durationSeconds = 60;
};

/// Writes the stretch into a mono PCM WAV file that is as long as it says to the sample; where that is inside a frame,
/// the frame is cut off. Absent on success, otherwise a text for the user; what has been written by then stays.
///
/// Blocking, for as long as the disk takes; one thread that is no real-time thread.
std::optional<std::string> renderWAV(WavFiles& files, const WAVStretch& stretch, const std::filesystem::path& url);

/// Samples of the encoder, with silence at 128 and full scale 128 away, as they stand in a file: two or three bytes
/// each, the low byte first. Of what stands for full scale 32767 is the highest at 16 bits, where what lies between two
/// numbers becomes the one nearer to zero. `into` has room for all.
void putSamples(std::span<const std::uint8_t> samples, int bitDepth, std::span<std::uint8_t> into) noexcept;

}  // namespace tallyrig
