#include "platform/pipewire/ServerSettings.h"

#include <pipewire/extensions/metadata.h>

#include <charconv>
#include <string_view>
#include <utility>

namespace tallyrig {
namespace {

std::uint32_t numberOf(const char* text) {
  std::uint32_t number = 0;
  const std::string_view digits = text == nullptr ? "" : text;
  std::from_chars(digits.data(), digits.data() + digits.size(), number);
  return number;
}

/// In a list such as "[ 44100, 48000 ]".
int countNumbers(const char* text) {
  int count = 0;
  bool inNumber = false;
  for (const char letter : std::string_view(text == nullptr ? "" : text)) {
    const bool digit = letter >= '0' && letter <= '9';
    if (digit && !inNumber) ++count;
    inNumber = digit;
  }
  return count;
}

}  // namespace

void ServerSettings::readServerInfo(const pw_core_info& info) {
  if (metadata_ != nullptr || info.props == nullptr) return;
  rate_ = numberOf(spa_dict_lookup(info.props, "default.clock.rate"));
  quantum_ = numberOf(spa_dict_lookup(info.props, "default.clock.quantum"));
}

void ServerSettings::watch(pw_registry* registry, std::uint32_t id, const spa_dict* properties) {
  static const pw_metadata_events events = [] {
    pw_metadata_events table{};
    table.version = PW_VERSION_METADATA_EVENTS;
    table.property = [](void* self, std::uint32_t subject, const char* key, const char*, const char* value) {
      return subject == 0 && key != nullptr ? static_cast<ServerSettings*>(self)->set(key, value) : 0;
    };
    return table;
  }();

  const char* name = properties == nullptr ? nullptr : spa_dict_lookup(properties, PW_KEY_METADATA_NAME);
  if (metadata_ != nullptr || name == nullptr || std::string_view(name) != "settings") return;
  metadata_ =
      static_cast<pw_proxy*>(pw_registry_bind(registry, id, PW_TYPE_INTERFACE_Metadata, PW_VERSION_METADATA, 0));
  if (metadata_ == nullptr) return;
  hook_ = {};
  pw_metadata_add_listener(reinterpret_cast<pw_metadata*>(metadata_), &hook_, &events, this);
}

void ServerSettings::clear() {
  if (metadata_ != nullptr) {
    spa_hook_remove(&hook_);
    pw_proxy_destroy(std::exchange(metadata_, nullptr));
  }
  rate_ = forcedRate_ = quantum_ = forcedQuantum_ = 0;
  allowsRates_ = false;
}

int ServerSettings::set(const char* key, const char* value) {
  const std::string_view name = key;
  const std::uint32_t number = numberOf(value);
  if (name == "clock.quantum") quantum_ = number;
  if (name == "clock.force-quantum") forcedQuantum_ = number;
  if (name == "clock.allowed-rates") allowsRates_ = countNumbers(value) > 1;
  if (name == "clock.rate") rate_ = number;
  if (name == "clock.force-rate") forcedRate_ = number;
  if (name == "clock.rate" || name == "clock.force-rate") rateChanged_();
  return 0;
}

}  // namespace tallyrig
