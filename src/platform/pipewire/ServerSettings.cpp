#include "platform/pipewire/ServerSettings.h"

#include <charconv>
#include <string_view>

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
  if (metadata_.isFound() || info.props == nullptr) return;
  rate_ = numberOf(spa_dict_lookup(info.props, "default.clock.rate"));
  quantum_ = numberOf(spa_dict_lookup(info.props, "default.clock.quantum"));
}

void ServerSettings::clear() {
  metadata_.clear();
  rate_ = forcedRate_ = quantum_ = forcedQuantum_ = 0;
  allowsRates_ = false;
}

void ServerSettings::set(const char* key, const char* value) {
  const std::string_view name = key;
  const std::uint32_t number = numberOf(value);
  if (name == "clock.quantum") quantum_ = number;
  if (name == "clock.force-quantum") forcedQuantum_ = number;
  if (name == "clock.allowed-rates") allowsRates_ = countNumbers(value) > 1;
  if (name == "clock.rate") rate_ = number;
  if (name == "clock.force-rate") forcedRate_ = number;
  if (name == "clock.rate" || name == "clock.force-rate") rateChanged_();
}

}  // namespace tallyrig
