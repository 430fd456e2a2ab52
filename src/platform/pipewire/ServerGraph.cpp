#include "platform/pipewire/ServerGraph.h"

#include <pipewire/extensions/metadata.h>

namespace tallyrig {
namespace {

GraphProperties propertiesOf(const spa_dict* dictionary) {
  GraphProperties properties;
  if (dictionary == nullptr) return properties;
  const spa_dict_item* item = nullptr;
  spa_dict_for_each(item, dictionary) {
    if (item->key != nullptr && item->value != nullptr) properties[item->key] = item->value;
  }
  return properties;
}

}  // namespace

ServerGraph::ServerGraph()
    : settings_([this] {
        for (auto* part : parts_) part->onRateSet();
      }),
      defaults_([this] {
        for (auto* part : parts_) part->onDefaultSet();
      }) {}

void ServerGraph::open(std::chrono::milliseconds limit) {
  connection_.open();
  const PipeWireConnection::Lock lock(connection_);
  connection_.waitUntil(limit, [this] { return available_ || connection_.core() == nullptr; });
}

void ServerGraph::attach(Part& part) {
  const PipeWireConnection::Lock lock(connection_);
  parts_.push_back(&part);
  if (available_) part.onSettled();
}

void ServerGraph::detach(Part& part) {
  const PipeWireConnection::Lock lock(connection_);
  std::erase(parts_, &part);
}

void ServerGraph::onConnected(pw_registry* registry) {
  registry_ = registry;
}

void ServerGraph::onLost() {
  settings_.clear();
  defaults_.clear();
  model_.clear();
  registry_ = nullptr;
  available_ = false;
  for (auto* part : parts_) part->onLost();
}

void ServerGraph::onServerInfo(const pw_core_info& info) {
  settings_.readServerInfo(info);
}

void ServerGraph::onGlobal(std::uint32_t id, std::string_view type, const spa_dict* properties) {
  model_.remove(id);
  if (type == PW_TYPE_INTERFACE_Device) model_.addCard(id, propertiesOf(properties));
  if (type == PW_TYPE_INTERFACE_Node) model_.addNode(id, propertiesOf(properties));
  if (type == PW_TYPE_INTERFACE_Port) model_.addPort(id, propertiesOf(properties));
  if (type == PW_TYPE_INTERFACE_Metadata) {
    settings_.watch(registry_, id, properties);
    defaults_.watch(registry_, id, properties);
  }
}

void ServerGraph::onGlobalRemoved(std::uint32_t id) {
  model_.remove(id);
  defaults_.forget(id);
}

void ServerGraph::onUpdate() {
  for (auto* part : parts_) part->onUpdate();
}

void ServerGraph::onSettled() {
  available_ = true;
  for (auto* part : parts_) part->onSettled();
}

void ServerGraph::onTick() {
  for (auto* part : parts_) part->onTick();
}

}  // namespace tallyrig
