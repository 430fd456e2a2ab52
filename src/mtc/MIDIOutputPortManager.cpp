#include "mtc/MIDIOutputPortManager.h"

#include <utility>

namespace tallyrig {

void MIDIOutputPortManager::rebuild() {
  dispose();
  const PlatformStatus client = midi_.createClient(
      "Tallyrig.MIDIOutput", [this] { log_.timed("MIDIOutputPortManager: CoreMIDI setup changed"); }, client_);
  if (client != kPlatformOk) {
    client_ = 0;
    lastErrorMessage_ = formatted("CoreMIDI client error %d", client);
    log_.line(formatted("MIDIOutputPortManager: MIDIClientCreateWithBlock failed with status %d", client));
    return;
  }
  const PlatformStatus port = midi_.createOutputPort(client_, "Tallyrig.MIDIOutputPort", outputPort_);
  if (port != kPlatformOk) {
    lastErrorMessage_ = formatted("CoreMIDI output error %d", port);
    log_.line(formatted("MIDIOutputPortManager: MIDIOutputPortCreate failed with status %d", port));
    dispose();
    return;
  }
  lastErrorMessage_.reset();
}

void MIDIOutputPortManager::invalidate(std::string_view reason) {
  log_.timed(std::string("MIDIOutputPortManager: invalidating output port — ").append(reason));
  dispose();
}

void MIDIOutputPortManager::dispose() {
  if (outputPort_ != 0) midi_.disposePort(std::exchange(outputPort_, 0));
  if (client_ != 0) midi_.disposeClient(std::exchange(client_, 0));
}

}  // namespace tallyrig
