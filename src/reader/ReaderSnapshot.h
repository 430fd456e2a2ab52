#pragma once

#include <QUuid>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/AudioSystem.h"
#include "reader/ReaderTypes.h"

namespace tallyrig {

/// The settings of one card, and the form in which it is persisted. The values here are those of a new card.
/// Plain value.
struct ReaderSnapshot {
  QUuid id = QUuid::createUuid();
  CardRole cardRole = CardRole::reader;
  std::string label = "Reader";
  /// A number sign and six hexadecimal digits.
  std::string backgroundColorHex = "#2A3A6E";
  SourceType sourceType = SourceType::ltc;
  TileSize tileSize = TileSize::medium;
  TileDisplayMode displayMode = TileDisplayMode::full;
  std::int64_t sortOrder = 0;
  std::optional<AudioDeviceID> selectedDeviceID;
  /// Kept so that the device can be found again when its number has changed.
  std::optional<std::string> selectedDeviceName;
  /// Logical channel, from 0.
  std::int64_t selectedChannel = 0;
  /// Frames, added to LTC input only.
  std::int64_t ltcFrameOffset = 0;
  OutputProtocol outputProtocol = OutputProtocol::disabled;
  OutputFrameRate outputFrameRate = OutputFrameRate::followInput;
  std::optional<AudioDeviceID> selectedOutputDeviceID;
  std::optional<std::string> selectedOutputDeviceName;
  std::int64_t selectedOutputChannel = 0;
  double outputLevelDBFS = -6.0;
  MTCFrameRate generatorFrameRate = MTCFrameRate::fps30;
  std::optional<std::string> selectedMIDIDestinationName;
  GeneratorStartMode generatorStartMode = GeneratorStartMode::manual;
  std::int64_t generatorStartHours = 1;
  std::int64_t generatorStartMinutes = 0;
  std::int64_t generatorStartSeconds = 0;
  std::int64_t generatorStartFrames = 0;
  std::optional<std::string> selectedMIDISourceName;

  bool operator==(const ReaderSnapshot&) const = default;
};

/// The text of readers.json: a JSON array of objects, keys in the order of the fields above, absent optional fields
/// left out. Absent only if something in it cannot be written as JSON.
std::optional<std::string> encodeSnapshots(const std::vector<ReaderSnapshot>& snapshots);

/// The inverse. Every key is optional, null counts as absent, unknown keys are passed over. A value of the wrong type
/// or an unknown raw value makes the whole text undecodable. Files from before `cardRole` existed are understood.
std::optional<std::vector<ReaderSnapshot>> decodeSnapshots(const std::string& text);

}  // namespace tallyrig
