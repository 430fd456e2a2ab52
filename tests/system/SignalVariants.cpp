#include "system/SignalVariants.h"

#include <unistd.h>

#include <cmath>
#include <filesystem>
#include <random>

#include "system/WatchedProcess.h"

namespace tallyrig {
namespace {

namespace fs = std::filesystem;

/// A folder for the files of one conversion.
class ScratchFolder {
 public:
  ScratchFolder() {
    std::string pattern = fs::temp_directory_path() / "tallyrig-sound-XXXXXX";
    if (mkdtemp(pattern.data()) != nullptr) path_ = pattern;
  }
  ~ScratchFolder() {
    std::error_code ignored;
    if (!path_.empty()) fs::remove_all(path_, ignored);
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  std::string file(const char* name) const { return path_ / name; }

 private:
  fs::path path_;
};

bool sox(const std::vector<std::string>& arguments) {
  std::vector<std::string> command{"sox", "-V1"};
  command.insert(command.end(), arguments.begin(), arguments.end());
  return runCommand(command, currentEnvironment()).has_value();
}

}  // namespace

std::optional<Sound> throughSox(const Sound& sound, const std::vector<std::string>& effects) {
  const ScratchFolder folder;
  if (!writeWav(folder.file("in.wav"), sound).empty()) return std::nullopt;
  std::vector<std::string> arguments{folder.file("in.wav"), folder.file("out.wav")};
  arguments.insert(arguments.end(), effects.begin(), effects.end());
  // What changes the speed leaves the sample rate changed in the header: this brings it back.
  arguments.insert(arguments.end(), {"rate", std::to_string(static_cast<int>(sound.sampleRate))});
  if (!sox(arguments)) return std::nullopt;
  return readSound(folder.file("out.wav"));
}

std::optional<Sound> throughMp3(const Sound& sound) {
  const ScratchFolder folder;
  if (!writeWav(folder.file("in.wav"), sound).empty()) return std::nullopt;
  if (!sox({folder.file("in.wav"), "-C", "192", folder.file("between.mp3")})) return std::nullopt;
  if (!sox({folder.file("between.mp3"), folder.file("out.wav")})) return std::nullopt;
  return readSound(folder.file("out.wav"));
}

Sound withNoise(const Sound& sound, double signalToNoiseDecibels) {
  double power = 0;
  for (const float sample : sound.samples) power += static_cast<double>(sample) * sample;
  power /= static_cast<double>(sound.samples.size());
  const double deviation = std::sqrt(power) * std::pow(10.0, -signalToNoiseDecibels / 20.0);
  std::mt19937 generator(20261121);
  std::normal_distribution<double> noise(0.0, deviation);
  Sound result = sound;
  for (float& sample : result.samples) sample += static_cast<float>(noise(generator));
  return result;
}

}  // namespace tallyrig
