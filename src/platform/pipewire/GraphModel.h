#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace tallyrig {

/// The properties of one object of the sound server, as it announces them.
using GraphProperties = std::map<std::string, std::string, std::less<>>;

/// The value of `key`, or an empty text.
const std::string& property(const GraphProperties& properties, std::string_view key);

/// From the node's own point of view: a sink's in-ports are what the program plays to.
enum class PortDirection { kIn, kOut };

/// One port, of mono audio or of MIDI.
struct GraphPort {
  std::uint32_t id = 0;
  /// Never used again while the server lives, unlike `id`.
  std::uint64_t serial = 0;
  std::uint32_t nodeId = 0;
  PortDirection direction = PortDirection::kIn;
  /// Position among the node's ports of one direction.
  std::uint32_t index = 0;
};

struct MidiGraphPort {
  GraphPort port;
  /// What a person reads, if the port's maker gave it; or else what the port is called on its node.
  std::string alias;
  std::string name;
};

struct GraphNode {
  std::uint32_t id = 0;
  std::uint64_t serial = 0;
  /// What survives an unplugging and a restart.
  std::string name;
  /// What a person reads.
  std::string title;
  std::string mediaClass;
  /// Equal for all nodes of one sound card; empty for a node of its own.
  std::string cardId;
  /// Whose node it is; empty for the server's own.
  std::string clientId;
};

/// The part of the sound server's graph that concerns audio devices and MIDI: sound cards, nodes, mono audio ports and
/// MIDI ports, by their global ids. Knows nothing of the library that brings them. Not thread-safe.
class GraphModel {
 public:
  /// A known id is replaced: ids are reused.
  void addCard(std::uint32_t id, const GraphProperties& properties);
  void addNode(std::uint32_t id, const GraphProperties& properties);
  /// Ports of another format than mono audio and MIDI are left out.
  void addPort(std::uint32_t id, const GraphProperties& properties);
  /// Whatever stands under `id`. False if nothing did.
  bool remove(std::uint32_t id);
  void clear();

  /// By serial, so in the order in which they appeared.
  std::vector<const GraphNode*> nodes() const;
  /// Null if there is none of that serial.
  const GraphNode* nodeOfSerial(std::uint64_t serial) const;
  /// Null if there is none of that id.
  const GraphNode* nodeOfId(std::uint32_t id) const;
  /// The audio ports, by index.
  std::vector<GraphPort> ports(std::uint32_t nodeId, PortDirection direction) const;
  /// All MIDI ports by serial, so in the order in which they appeared.
  std::vector<const MidiGraphPort*> midiPorts() const;
  /// What a person reads on the card; empty if unknown.
  std::string cardTitle(std::string_view cardId) const;

 private:
  std::map<std::uint32_t, std::string> cardTitles_;
  std::map<std::uint32_t, GraphNode> nodes_;
  std::map<std::uint32_t, GraphPort> ports_;
  std::map<std::uint32_t, MidiGraphPort> midiPorts_;
};

}  // namespace tallyrig
