#include "platform/pipewire/PipeWireServer.h"

#include <chrono>

#include "platform/pipewire/ServerGraph.h"

namespace tallyrig {
namespace {

constexpr std::chrono::milliseconds kFirstListLimit{1000};

}  // namespace

PipeWireServer openPipeWireServer() {
  auto server = std::make_shared<ServerGraph>();
  server->open(kFirstListLimit);
  return server;
}

}  // namespace tallyrig
