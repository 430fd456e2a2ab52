#include "support/PipeWireRig.h"

#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <utility>

#include "support/RigClient.h"

namespace tallyrig {
namespace {

std::filesystem::path newDirectory() {
  std::string path = (std::filesystem::temp_directory_path() / "rig-XXXXXX").string();
  if (mkdtemp(path.data()) == nullptr) throw std::runtime_error("no folder for the rig");
  return path;
}

}  // namespace

PipeWireRig::PipeWireRig(Options options) : options_(std::move(options)), directory_(newDirectory()) {
  writeConfiguration();
  if (options_.started) start();
}

PipeWireRig::~PipeWireRig() {
  kill();
  std::error_code ignored;
  std::filesystem::remove_all(directory_, ignored);
}

void PipeWireRig::writeConfiguration() const {
  const auto folder = directory_ / "config" / "pipewire" / "pipewire.conf.d";
  std::filesystem::create_directories(folder);
  std::filesystem::create_directories(directory_ / "state");
  const std::string quantum = std::to_string(options_.quantum);
  std::string rates = std::to_string(options_.rate);
  for (const int rate : options_.otherRates) rates += " " + std::to_string(rate);
  std::ofstream file(folder / "rig.conf");
  file << "context.properties = {\n"
       << "  default.clock.rate = " << options_.rate << "\n"
       << "  default.clock.allowed-rates = [ " << rates << " ]\n"
       << "  default.clock.quantum = " << quantum << "\n"
       << "  default.clock.min-quantum = " << quantum << "\n"
       << "  default.clock.max-quantum = " << quantum
       << "\n"
       // In a virtual machine the server would raise the shortest cycle.
       << "  vm.overrides = { default.clock.min-quantum = " << quantum << " }\n"
       << "}\n";
  // The session manager ends where its part for Bluetooth finds no record of who is logged in, as in a container.
  const auto bluetooth = directory_ / "config" / "wireplumber" / "bluetooth.lua.d";
  std::filesystem::create_directories(bluetooth);
  std::ofstream(bluetooth / "51-rig.lua") << "bluez_monitor.enabled = false\n";
}

ChildProcess::Environment PipeWireRig::environment() const {
  return {{"XDG_RUNTIME_DIR", directory_.string()},
          {"XDG_CONFIG_HOME", (directory_ / "config").string()},
          {"XDG_STATE_HOME", (directory_ / "state").string()},
          {"DBUS_SESSION_BUS_ADDRESS", options_.sessionManager ? "unix:path=" + (directory_ / "bus").string() : ""},
          {"PIPEWIRE_REMOTE", ""},
          {"PIPEWIRE_RUNTIME_DIR", ""}};
}

void PipeWireRig::enter() const {
  for (const auto& [name, value] : environment()) {
    if (value.empty()) {
      unsetenv(name.c_str());
    } else {
      setenv(name.c_str(), value.c_str(), 1);
    }
  }
}

void PipeWireRig::start() {
  const auto variables = environment();
  if (options_.sessionManager) {
    const std::string address = variables.at("DBUS_SESSION_BUS_ADDRESS");
    bus_ = std::make_unique<ChildProcess>(
        std::vector<std::string>{"dbus-daemon", "--session", "--nofork", "--nopidfile", "--address=" + address},
        variables, logFile());
  }
  server_ = std::make_unique<ChildProcess>(std::vector<std::string>{"pipewire"}, variables, logFile());
  client_ = std::make_unique<RigClient>(directory_ / "pipewire-0", options_.rate, !options_.sessionManager);
  if (options_.sessionManager) {
    sessionManager_ = std::make_unique<ChildProcess>(std::vector<std::string>{"wireplumber"}, variables, logFile());
  }
  for (const auto& device : devices_) client_->add(device);
  for (const auto& device : midiDevices_) client_->add(device);
}

void PipeWireRig::kill() {
  sessionManager_.reset();
  server_.reset();
  bus_.reset();
  client_.reset();
}

void PipeWireRig::add(const RigDevice& device) {
  client_->add(device);
  devices_.push_back(device);
}

void PipeWireRig::remove(const std::string& name) {
  client_->remove(name);
  std::erase_if(devices_, [&](const RigDevice& device) { return device.name == name; });
}

void PipeWireRig::add(const RigMidiDevice& device) {
  client_->add(device);
  midiDevices_.push_back(device);
}

void PipeWireRig::removeMidi(const std::string& name) {
  client_->removeMidi(name);
  std::erase_if(midiDevices_, [&](const RigMidiDevice& device) { return device.name == name; });
}

std::uint64_t PipeWireRig::missedCycles(const std::string& name) const {
  return client_->midi(name).missedCycles();
}

std::uint32_t PipeWireRig::addCard(const std::string& description) {
  return client_->addCard(description);
}

void PipeWireRig::set(const std::string& key, const std::string& value) {
  client_->set(key, value);
}

void PipeWireRig::waitForNode(const std::string& name, int inPorts, int outPorts) {
  client_->waitFor("the node " + name, [&] {
    return client_->ports(name, PortDirection::kIn).size() >= static_cast<std::size_t>(inPorts) &&
           client_->ports(name, PortDirection::kOut).size() >= static_cast<std::size_t>(outPorts);
  });
}

void PipeWireRig::waitForNoNode(const std::string& name) {
  client_->waitFor("the end of the node " + name, [&] { return !client_->hasNode(name); });
}

std::unique_ptr<RigSound> PipeWireRig::play(const std::string& node, const std::vector<int>& ports, RigSamples samples,
                                            int rate) {
  return RigSound::play(*client_, node, ports, std::move(samples), rate);
}

std::unique_ptr<RigSound> PipeWireRig::record(const std::string& node, const std::vector<int>& ports,
                                              std::size_t frames) {
  return RigSound::record(*client_, node, ports, frames);
}

}  // namespace tallyrig
