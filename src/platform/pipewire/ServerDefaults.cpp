#include "platform/pipewire/ServerDefaults.h"

#include <spa/utils/json.h>

#include <array>
#include <cstring>
#include <string_view>
#include <utility>

namespace tallyrig {
namespace {

/// Of an object such as { "name": "alsa_output.usb" }; empty if it has none.
std::string nameIn(const char* value) {
  std::array<spa_json, 2> iterators{};
  std::array<char, 1024> text{};
  constexpr int kSize = static_cast<int>(std::tuple_size_v<decltype(text)>);
  if (value == nullptr) return {};
  spa_json_init(iterators.data(), value, std::strlen(value));
  if (spa_json_enter_object(&iterators[0], &iterators[1]) <= 0) return {};
  while (spa_json_get_string(&iterators[1], text.data(), kSize) > 0) {
    const bool isName = std::string_view(text.data()) == "name";
    if (isName) return spa_json_get_string(&iterators[1], text.data(), kSize) > 0 ? text.data() : "";
    const char* skipped = nullptr;
    if (spa_json_next(&iterators[1], &skipped) <= 0) return {};
  }
  return {};
}

}  // namespace

void ServerDefaults::forget(std::uint32_t id) {
  if (metadata_.forget(id)) set("default.audio.sink", nullptr);
}

void ServerDefaults::clear() {
  metadata_.clear();
  sink_.clear();
}

void ServerDefaults::set(const char* key, const char* value) {
  if (std::string_view(key) != "default.audio.sink") return;
  std::string name = nameIn(value);
  if (std::exchange(sink_, name) != name) changed_();
}

}  // namespace tallyrig
