#include "platform/pipewire/PortLinks.h"

#include <algorithm>
#include <set>

namespace tallyrig {
namespace {

pw_properties* linkProperties(const PortLinks::Pair& pair) {
  pw_properties* properties = pw_properties_new(nullptr, nullptr);
  pw_properties_setf(properties, PW_KEY_LINK_OUTPUT_NODE, "%u", pair.from.nodeId);
  pw_properties_setf(properties, PW_KEY_LINK_OUTPUT_PORT, "%u", pair.from.id);
  pw_properties_setf(properties, PW_KEY_LINK_INPUT_NODE, "%u", pair.to.nodeId);
  pw_properties_setf(properties, PW_KEY_LINK_INPUT_PORT, "%u", pair.to.id);
  return properties;
}

}  // namespace

class PortLinks::Link {
 public:
  enum class State { kAsked, kMade, kGone };

  Link(PortLinks& owner, pw_core* core, const Pair& pair) : owner_(owner) {
    static const pw_proxy_events events = [] {
      pw_proxy_events table{};
      table.version = PW_VERSION_PROXY_EVENTS;
      table.bound = [](void* self, std::uint32_t) { static_cast<Link*>(self)->become(State::kMade); };
      table.removed = [](void* self) { static_cast<Link*>(self)->become(State::kGone); };
      table.error = [](void* self, int, int, const char* message) {
        auto& link = *static_cast<Link*>(self);
        link.owner_.refusal_ = message == nullptr ? "no reason given" : message;
        link.become(State::kGone);
      };
      return table;
    }();
    pw_properties* properties = linkProperties(pair);
    proxy_ = static_cast<pw_proxy*>(
        pw_core_create_object(core, "link-factory", PW_TYPE_INTERFACE_Link, PW_VERSION_LINK, &properties->dict, 0));
    pw_properties_free(properties);
    if (proxy_ != nullptr) {
      pw_proxy_add_listener(proxy_, &hook_, &events, this);
    } else {
      state_ = State::kGone;
    }
  }

  ~Link() {
    if (proxy_ == nullptr) return;
    spa_hook_remove(&hook_);
    pw_proxy_destroy(proxy_);
  }

  Link(const Link&) = delete;
  Link& operator=(const Link&) = delete;

  State state() const { return state_; }

 private:
  void become(State state) {
    if (state_ == State::kGone) return;
    state_ = state;
    if (owner_.isSettled()) owner_.changed_();
  }

  PortLinks& owner_;
  pw_proxy* proxy_ = nullptr;
  spa_hook hook_{};
  State state_ = State::kAsked;
};

PortLinks::PortLinks(std::function<void()> changed) : changed_(std::move(changed)) {}

PortLinks::~PortLinks() = default;

void PortLinks::update(pw_core* core, const std::vector<Pair>& wanted) {
  std::set<Key> wantedKeys;
  for (const auto& pair : wanted) wantedKeys.emplace(pair.from.serial, pair.to.serial);
  std::erase_if(links_, [&](const auto& entry) { return !wantedKeys.contains(entry.first); });
  for (const auto& pair : wanted) {
    auto& link = links_[{pair.from.serial, pair.to.serial}];
    if (!link) link = std::make_unique<Link>(*this, core, pair);
  }
}

void PortLinks::clear() {
  links_.clear();
  refusal_.clear();
}

bool PortLinks::isSettled() const {
  return std::ranges::none_of(links_, [](const auto& entry) { return entry.second->state() == Link::State::kAsked; });
}

std::size_t PortLinks::madeCount() const {
  return static_cast<std::size_t>(
      std::ranges::count_if(links_, [](const auto& entry) { return entry.second->state() == Link::State::kMade; }));
}

}  // namespace tallyrig
