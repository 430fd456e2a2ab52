#include "support/RigClient.h"

#include <pipewire/extensions/metadata.h>
#include <spa/param/audio/format-utils.h>
#include <spa/param/param.h>
#include <spa/pod/builder.h>
#include <unistd.h>

#include <algorithm>
#include <stdexcept>

#include "support/RigCard.h"

namespace tallyrig {
namespace {

const char* mediaClassOf(RigDevice::Kind kind) {
  switch (kind) {
    case RigDevice::Kind::kSink:
      return "Audio/Sink";
    case RigDevice::Kind::kSource:
      return "Audio/Source/Virtual";
    default:
      return "Audio/Duplex";
  }
}

pw_properties* propertiesOf(const RigDevice& device) {
  std::string positions = "[";
  for (int channel = 0; channel < device.channels; ++channel) positions += " AUX" + std::to_string(channel);
  positions += " ]";
  pw_properties* properties =
      pw_properties_new("factory.name", "support.null-audio-sink", PW_KEY_NODE_NAME, device.name.c_str(),
                        PW_KEY_MEDIA_CLASS, mediaClassOf(device.kind), "session.suspend-timeout-seconds", "0", nullptr);
  if (!device.description.empty()) {
    pw_properties_set(properties, PW_KEY_NODE_DESCRIPTION, device.description.c_str());
  }
  pw_properties_set(properties, SPA_KEY_AUDIO_POSITION, positions.c_str());
  pw_properties_setf(properties, SPA_KEY_AUDIO_CHANNELS, "%d", device.channels);
  for (const auto& [key, value] : device.properties) pw_properties_set(properties, key.c_str(), value.c_str());
  return properties;
}

}  // namespace

RigClient::RigClient(const std::filesystem::path& socket, int rate, bool configurePorts)
    : rate_(rate), configurePorts_(configurePorts) {
  pw_init(nullptr, nullptr);
  loop_ = pw_thread_loop_new("rig", nullptr);
  context_ = pw_context_new(pw_thread_loop_get_loop(loop_), nullptr, 0);
  connect(socket);
}

RigClient::~RigClient() {
  pw_thread_loop_stop(loop_);
  cards_.clear();
  bridges_.clear();
  for (const auto& [name, proxy] : devices_) pw_proxy_destroy(proxy);
  if (settings_ != nullptr) pw_proxy_destroy(settings_);
  spa_hook_remove(&registryHook_);
  pw_proxy_destroy(reinterpret_cast<pw_proxy*>(registry_));
  pw_core_disconnect(core_);
  pw_context_destroy(context_);
  pw_thread_loop_destroy(loop_);
  pw_deinit();
}

void RigClient::connect(const std::filesystem::path& socket) {
  static const pw_registry_events events = [] {
    pw_registry_events table{};
    table.version = PW_VERSION_REGISTRY_EVENTS;
    table.global = [](void* self, std::uint32_t id, std::uint32_t, const char* type, std::uint32_t,
                      const spa_dict* properties) { static_cast<RigClient*>(self)->seen(id, type, properties); };
    table.global_remove = [](void* self, std::uint32_t id) {
      auto& client = *static_cast<RigClient*>(self);
      client.graph_.remove(id);
      pw_thread_loop_signal(client.loop_, false);
    };
    return table;
  }();

  const auto deadline = std::chrono::steady_clock::now() + kLimit;
  while (core_ == nullptr) {
    core_ = pw_context_connect(context_, pw_properties_new(PW_KEY_REMOTE_NAME, socket.c_str(), nullptr), 0);
    if (core_ != nullptr) break;
    if (std::chrono::steady_clock::now() > deadline) throw std::runtime_error("no sound server at " + socket.string());
    usleep(5000);
  }
  registry_ = pw_core_get_registry(core_, PW_VERSION_REGISTRY, 0);
  pw_registry_add_listener(registry_, &registryHook_, &events, this);
  pw_thread_loop_start(loop_);
  waitFor("the server's settings", [this] { return settings_ != nullptr; });
}

void RigClient::seen(std::uint32_t id, std::string_view type, const spa_dict* dictionary) {
  GraphProperties properties;
  const spa_dict_item* item = nullptr;
  if (dictionary != nullptr) spa_dict_for_each(item, dictionary) properties[item->key] = item->value;
  if (type == PW_TYPE_INTERFACE_Node) graph_.addNode(id, properties);
  if (type == PW_TYPE_INTERFACE_Port) graph_.addPort(id, properties);
  if (type == PW_TYPE_INTERFACE_Metadata && property(properties, PW_KEY_METADATA_NAME) == "settings") {
    settings_ =
        static_cast<pw_proxy*>(pw_registry_bind(registry_, id, PW_TYPE_INTERFACE_Metadata, PW_VERSION_METADATA, 0));
  }
  pw_thread_loop_signal(loop_, false);
}

void RigClient::waitFor(const std::string& what, const std::function<bool()>& condition,
                        std::chrono::milliseconds limit) {
  pw_thread_loop_lock(loop_);
  timespec deadline{};
  pw_thread_loop_get_time(loop_, &deadline, std::chrono::nanoseconds(limit).count());
  bool holds = condition();
  while (!holds && pw_thread_loop_timed_wait_full(loop_, &deadline) == 0) holds = condition();
  pw_thread_loop_unlock(loop_);
  if (!holds) throw std::runtime_error("the rig waited in vain for " + what);
}

const GraphNode* RigClient::nodeNamed(const std::string& name) const {
  for (const auto* node : graph_.nodes()) {
    if (node->name == name) return node;
  }
  return nullptr;
}

std::vector<GraphPort> RigClient::ports(const std::string& nodeName, PortDirection direction) const {
  const auto* node = nodeNamed(nodeName);
  return node == nullptr ? std::vector<GraphPort>{} : graph_.ports(node->id, direction);
}

void RigClient::add(const RigDevice& device) {
  pw_thread_loop_lock(loop_);
  pw_properties* properties = propertiesOf(device);
  auto* node = static_cast<pw_proxy*>(
      pw_core_create_object(core_, "adapter", PW_TYPE_INTERFACE_Node, PW_VERSION_NODE, &properties->dict, 0));
  pw_properties_free(properties);
  devices_[device.name] = node;
  if (configurePorts_) configurePorts(device, node);
  pw_thread_loop_unlock(loop_);
  const auto count = static_cast<std::size_t>(device.channels);
  waitFor("the ports of " + device.name, [&] {
    return ports(device.name, PortDirection::kIn).size() == count &&
           ports(device.name, PortDirection::kOut).size() == count;
  });
}

void RigClient::configurePorts(const RigDevice& device, pw_proxy* node) const {
  spa_audio_info_raw format{};
  format.format = SPA_AUDIO_FORMAT_F32P;
  format.rate = static_cast<std::uint32_t>(rate_);
  format.channels = static_cast<std::uint32_t>(device.channels);
  for (std::uint32_t channel = 0; channel < format.channels; ++channel) {
    format.position[channel] = SPA_AUDIO_CHANNEL_AUX0 + channel;
  }
  std::uint8_t bytes[4096];
  spa_pod_builder builder{};
  spa_pod_builder_init(&builder, bytes, sizeof(bytes));
  const spa_pod* inner = spa_format_audio_raw_build(&builder, SPA_PARAM_Format, &format);
  const auto* config = static_cast<const spa_pod*>(spa_pod_builder_add_object(
      &builder, SPA_TYPE_OBJECT_ParamPortConfig, SPA_PARAM_PortConfig, SPA_PARAM_PORT_CONFIG_direction,
      SPA_POD_Id(SPA_DIRECTION_INPUT), SPA_PARAM_PORT_CONFIG_mode, SPA_POD_Id(SPA_PARAM_PORT_CONFIG_MODE_dsp),
      SPA_PARAM_PORT_CONFIG_monitor, SPA_POD_Bool(true), SPA_PARAM_PORT_CONFIG_format, SPA_POD_Pod(inner)));
  pw_node_set_param(reinterpret_cast<pw_node*>(node), SPA_PARAM_PortConfig, 0, config);
}

void RigClient::remove(const std::string& name) {
  pw_thread_loop_lock(loop_);
  if (const auto device = devices_.find(name); device != devices_.end()) {
    pw_proxy_destroy(device->second);
    devices_.erase(device);
  }
  pw_thread_loop_unlock(loop_);
  waitFor("the end of " + name, [&] { return nodeNamed(name) == nullptr; });
}

void RigClient::add(const RigMidiDevice& device) {
  pw_thread_loop_lock(loop_);
  bridges_[device.name] = std::make_unique<RigMidiBridge>(core_, device);
  pw_thread_loop_unlock(loop_);
  waitFor("the ports of " + device.name, [&] {
    const auto* node = nodeNamed(device.name);
    return node != nullptr && std::ranges::count_if(graph_.midiPorts(), [&](const auto* found) {
                                return found->port.nodeId == node->id;
                              }) == 2 * device.ports;
  });
}

void RigClient::removeMidi(const std::string& name) {
  pw_thread_loop_lock(loop_);
  bridges_.erase(name);
  pw_thread_loop_unlock(loop_);
  waitFor("the end of " + name, [&] { return nodeNamed(name) == nullptr; });
}

std::uint32_t RigClient::addCard(const std::string& description) {
  pw_thread_loop_lock(loop_);
  cards_.push_back(std::make_unique<RigCard>(core_, description, [this] { pw_thread_loop_signal(loop_, false); }));
  pw_thread_loop_unlock(loop_);
  const auto& card = *cards_.back();
  waitFor("the card " + description, [&] { return card.id() != SPA_ID_INVALID; });
  return card.id();
}

void RigClient::set(const std::string& key, const std::string& value) {
  pw_thread_loop_lock(loop_);
  pw_metadata_set_property(reinterpret_cast<pw_metadata*>(settings_), 0, key.c_str(), "", value.c_str());
  pw_thread_loop_unlock(loop_);
}

}  // namespace tallyrig
