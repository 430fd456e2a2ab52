#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "platform/pipewire/GraphModel.h"

namespace tallyrig {

/// A graph as the sound server would announce it, object by object.
class GraphBuilder {
 public:
  GraphModel graph;

  /// Returns the node's id. Its serial is 1000 more, unless `more` names one.
  std::uint32_t node(const std::string& name, const std::string& mediaClass, GraphProperties more = {}) {
    const std::uint32_t id = nextId_++;
    more.emplace("node.name", name);
    more.emplace("media.class", mediaClass);
    more.emplace("object.serial", std::to_string(1000 + id));
    graph.addNode(id, more);
    return id;
  }

  std::uint32_t port(std::uint32_t node, const std::string& direction, int index, GraphProperties more = {}) {
    const std::uint32_t id = nextId_++;
    more.emplace("node.id", std::to_string(node));
    more.emplace("port.direction", direction);
    more.emplace("port.id", std::to_string(index));
    more.emplace("format.dsp", "32 bit float mono audio");
    more.emplace("object.serial", std::to_string(1000 + id));
    graph.addPort(id, more);
    return id;
  }

  void ports(std::uint32_t node, const std::string& direction, int count, const GraphProperties& more = {}) {
    for (int index = 0; index < count; ++index) port(node, direction, index, more);
  }

  std::uint32_t midiPort(std::uint32_t node, const std::string& direction, const std::string& alias,
                         GraphProperties more = {}) {
    more.emplace("format.dsp", "8 bit raw midi");
    more.emplace("port.alias", alias);
    return port(node, direction, 0, std::move(more));
  }

  std::uint32_t card(const std::string& description) {
    const std::uint32_t id = nextId_++;
    graph.addCard(id, {{"device.description", description}, {"device.name", "card." + std::to_string(id)}});
    return id;
  }

 private:
  std::uint32_t nextId_ = 30;
};

}  // namespace tallyrig
