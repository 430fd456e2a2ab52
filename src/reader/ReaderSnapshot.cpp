#include "reader/ReaderSnapshot.h"

#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>
#include <string_view>
#include <type_traits>

namespace tallyrig {
namespace {

using Json = nlohmann::ordered_json;

// One overload of `read` per type of field: true if the value fits and was stored.

bool read(const Json& json, std::string& value) {
  if (!json.is_string()) return false;
  value = json.get<std::string>();
  return true;
}

bool read(const Json& json, double& value) {
  if (!json.is_number()) return false;
  value = json.get<double>();
  return std::isfinite(value);
}

bool read(const Json& json, std::int64_t& value) {
  if (json.is_number_unsigned()) {
    const auto number = json.get<std::uint64_t>();
    if (number > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) return false;
    value = static_cast<std::int64_t>(number);
    return true;
  }
  if (json.is_number_integer()) {
    value = json.get<std::int64_t>();
    return true;
  }
  // A whole number written with a decimal point is still a whole number.
  constexpr double kExact = 9007199254740992.0;
  if (!json.is_number_float()) return false;
  const auto number = json.get<double>();
  if (number != std::trunc(number) || std::abs(number) > kExact) return false;
  value = static_cast<std::int64_t>(number);
  return true;
}

bool read(const Json& json, AudioDeviceID& value) {
  std::int64_t number = 0;
  if (!read(json, number) || number < 0 || number > std::numeric_limits<AudioDeviceID>::max()) return false;
  value = static_cast<AudioDeviceID>(number);
  return true;
}

bool read(const Json& json, QUuid& value) {
  std::string text;
  if (!read(json, text) || text.size() != 36) return false;
  value = QUuid::fromString(QString::fromStdString(text));
  return !value.isNull();
}

bool read(const Json& json, MTCFrameRate& value) {
  std::int64_t raw = 0;
  if (!read(json, raw)) return false;
  const auto rate = frameRateFromRawValue(raw);
  if (rate) value = *rate;
  return rate.has_value();
}

template <typename Enumeration>
requires std::is_enum_v<Enumeration>
bool read(const Json& json, Enumeration& value) {
  std::string raw;
  if (!read(json, raw)) return false;
  const auto found = fromRawValue<Enumeration>(raw);
  if (found) value = *found;
  return found.has_value();
}

template <typename Value>
bool read(const Json& json, std::optional<Value>& value) {
  Value present{};
  if (!read(json, present)) return false;
  value = std::move(present);
  return true;
}

/// Stores `key` in `value` if the object has it; false if it has it in a form that does not fit.
template <typename Value>
bool readKey(const Json& object, const char* key, Value& value) {
  const auto found = object.find(key);
  if (found == object.end() || found->is_null()) return true;
  return read(*found, value);
}

/// `sourceType` once also told the role, so it is read as plain text, and any text but "MTC" means LTC.
bool readRoleAndSource(const Json& object, ReaderSnapshot& snapshot) {
  std::optional<std::string> source;
  std::optional<CardRole> role;
  if (!readKey(object, "sourceType", source) || !readKey(object, "cardRole", role)) return false;
  const CardRole fallback = source == "Generator" ? CardRole::generator : CardRole::reader;
  snapshot.cardRole = role.value_or(fallback);
  snapshot.sourceType = source == "MTC" ? SourceType::mtc : SourceType::ltc;
  return true;
}

bool readSnapshot(const Json& object, ReaderSnapshot& snapshot) {
  return object.is_object() && readKey(object, "id", snapshot.id) && readRoleAndSource(object, snapshot) &&
         readKey(object, "label", snapshot.label) &&
         readKey(object, "backgroundColorHex", snapshot.backgroundColorHex) &&
         readKey(object, "tileSize", snapshot.tileSize) && readKey(object, "displayMode", snapshot.displayMode) &&
         readKey(object, "sortOrder", snapshot.sortOrder) &&
         readKey(object, "selectedDeviceID", snapshot.selectedDeviceID) &&
         readKey(object, "selectedDeviceName", snapshot.selectedDeviceName) &&
         readKey(object, "selectedChannel", snapshot.selectedChannel) &&
         readKey(object, "ltcFrameOffset", snapshot.ltcFrameOffset) &&
         readKey(object, "outputProtocol", snapshot.outputProtocol) &&
         readKey(object, "outputFrameRate", snapshot.outputFrameRate) &&
         readKey(object, "selectedOutputDeviceID", snapshot.selectedOutputDeviceID) &&
         readKey(object, "selectedOutputDeviceName", snapshot.selectedOutputDeviceName) &&
         readKey(object, "selectedOutputChannel", snapshot.selectedOutputChannel) &&
         readKey(object, "outputLevelDBFS", snapshot.outputLevelDBFS) &&
         readKey(object, "generatorFrameRate", snapshot.generatorFrameRate) &&
         readKey(object, "selectedMIDIDestinationName", snapshot.selectedMIDIDestinationName) &&
         readKey(object, "generatorStartMode", snapshot.generatorStartMode) &&
         readKey(object, "generatorStartHours", snapshot.generatorStartHours) &&
         readKey(object, "generatorStartMinutes", snapshot.generatorStartMinutes) &&
         readKey(object, "generatorStartSeconds", snapshot.generatorStartSeconds) &&
         readKey(object, "generatorStartFrames", snapshot.generatorStartFrames) &&
         readKey(object, "selectedMIDISourceName", snapshot.selectedMIDISourceName);
}

template <typename Value>
void writeIfPresent(Json& object, const char* key, const std::optional<Value>& value) {
  if (value) object[key] = *value;
}

Json toJson(const ReaderSnapshot& snapshot) {
  Json object = Json::object();
  object["id"] = snapshot.id.toString(QUuid::WithoutBraces).toUpper().toStdString();
  object["cardRole"] = rawValue(snapshot.cardRole);
  object["label"] = snapshot.label;
  object["backgroundColorHex"] = snapshot.backgroundColorHex;
  object["sourceType"] = rawValue(snapshot.sourceType);
  object["tileSize"] = rawValue(snapshot.tileSize);
  object["displayMode"] = rawValue(snapshot.displayMode);
  object["sortOrder"] = snapshot.sortOrder;
  writeIfPresent(object, "selectedDeviceID", snapshot.selectedDeviceID);
  writeIfPresent(object, "selectedDeviceName", snapshot.selectedDeviceName);
  object["selectedChannel"] = snapshot.selectedChannel;
  object["ltcFrameOffset"] = snapshot.ltcFrameOffset;
  object["outputProtocol"] = rawValue(snapshot.outputProtocol);
  object["outputFrameRate"] = rawValue(snapshot.outputFrameRate);
  writeIfPresent(object, "selectedOutputDeviceID", snapshot.selectedOutputDeviceID);
  writeIfPresent(object, "selectedOutputDeviceName", snapshot.selectedOutputDeviceName);
  object["selectedOutputChannel"] = snapshot.selectedOutputChannel;
  object["outputLevelDBFS"] = snapshot.outputLevelDBFS;
  object["generatorFrameRate"] = static_cast<int>(snapshot.generatorFrameRate);
  writeIfPresent(object, "selectedMIDIDestinationName", snapshot.selectedMIDIDestinationName);
  object["generatorStartMode"] = rawValue(snapshot.generatorStartMode);
  object["generatorStartHours"] = snapshot.generatorStartHours;
  object["generatorStartMinutes"] = snapshot.generatorStartMinutes;
  object["generatorStartSeconds"] = snapshot.generatorStartSeconds;
  object["generatorStartFrames"] = snapshot.generatorStartFrames;
  writeIfPresent(object, "selectedMIDISourceName", snapshot.selectedMIDISourceName);
  return object;
}

}  // namespace

std::optional<std::string> encodeSnapshots(const std::vector<ReaderSnapshot>& snapshots) {
  Json array = Json::array();
  for (const auto& snapshot : snapshots) {
    if (!std::isfinite(snapshot.outputLevelDBFS)) return std::nullopt;
    array.push_back(toJson(snapshot));
  }
  try {
    return array.dump();
  } catch (const Json::exception&) {
    // A text that is not UTF-8 has no JSON form.
    return std::nullopt;
  }
}

std::optional<std::vector<ReaderSnapshot>> decodeSnapshots(const std::string& text) {
  const Json array = Json::parse(text, nullptr, /*allow_exceptions=*/false);
  if (!array.is_array()) return std::nullopt;
  std::vector<ReaderSnapshot> snapshots;
  for (const Json& object : array) {
    if (!readSnapshot(object, snapshots.emplace_back())) return std::nullopt;
  }
  return snapshots;
}

}  // namespace tallyrig
