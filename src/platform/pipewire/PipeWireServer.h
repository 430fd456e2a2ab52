#pragma once

#include <memory>

namespace tallyrig {

class ServerGraph;

/// The PipeWire sound server of the user's session, which the audio and the MIDI system are made on: one connection and
/// one data thread for both. It lives as long as anything that was made on it.
using PipeWireServer = std::shared_ptr<ServerGraph>;

/// Connects, and waits briefly for a server that answers, so that first lists are complete. A server that is missing,
/// or dies, is awaited for ever. Main thread.
PipeWireServer openPipeWireServer();

}  // namespace tallyrig
