#pragma once

#include <optional>
#include <string>
#include <vector>

#include "rig/WavFile.h"

namespace tallyrig {

/// What `sox` makes of a sound with these effects, such as {"gain", "-35"} or {"speed", "1.1"}, at the same sample
/// rate. Absent if sox refuses.
std::optional<Sound> throughSox(const Sound& sound, const std::vector<std::string>& effects);

/// The sound encoded as MP3 and decoded again.
std::optional<Sound> throughMp3(const Sound& sound);

/// White noise added, this much below the signal's own mean power. The noise is the same in every run.
Sound withNoise(const Sound& sound, double signalToNoiseDecibels);

}  // namespace tallyrig
