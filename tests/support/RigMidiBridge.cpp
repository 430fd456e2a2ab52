#include "support/RigMidiBridge.h"

#include <spa/pod/builder.h>

#include <cstring>

namespace tallyrig {
namespace {

constexpr std::size_t kLargestCycle = 65536;

void* addPort(pw_filter* filter, spa_direction direction, int number) {
  pw_properties* properties = pw_properties_new(PW_KEY_FORMAT_DSP, "8 bit raw midi", nullptr);
  pw_properties_setf(properties, PW_KEY_PORT_NAME, "%s_%d", direction == SPA_DIRECTION_INPUT ? "playback" : "capture",
                     number);
  return pw_filter_add_port(filter, direction, PW_FILTER_PORT_FLAG_MAP_BUFFERS, sizeof(void*), properties, nullptr, 0);
}

std::uint32_t writeNothing(const spa_data& data) {
  spa_pod_builder builder{};
  spa_pod_frame frame{};
  spa_pod_builder_init(&builder, data.data, data.maxsize);
  spa_pod_builder_push_sequence(&builder, &frame, 0);
  spa_pod_builder_pop(&builder, &frame);
  return builder.state.offset;
}

}  // namespace

RigMidiBridge::RigMidiBridge(pw_core* core, const RigMidiDevice& device)
    : wires_(static_cast<std::size_t>(device.ports)) {
  static const pw_filter_events events = [] {
    pw_filter_events table{};
    table.version = PW_VERSION_FILTER_EVENTS;
    table.process = [](void* self, spa_io_position* position) {
      if (position != nullptr) static_cast<RigMidiBridge*>(self)->process(position->clock);
    };
    return table;
  }();
  pw_properties* properties =
      pw_properties_new(PW_KEY_NODE_NAME, device.name.c_str(), PW_KEY_MEDIA_CLASS, "Midi/Bridge", nullptr);
  if (!device.description.empty()) {
    pw_properties_set(properties, PW_KEY_NODE_DESCRIPTION, device.description.c_str());
  }
  filter_ = pw_filter_new(core, device.name.c_str(), properties);
  pw_filter_add_listener(filter_, &hook_, &events, this);
  for (int number = 0; number < device.ports; ++number) {
    Wire& wire = wires_[static_cast<std::size_t>(number)];
    wire.in = addPort(filter_, SPA_DIRECTION_INPUT, number);
    wire.out = addPort(filter_, SPA_DIRECTION_OUTPUT, number);
    wire.held.resize(kLargestCycle);
  }
  pw_filter_connect(filter_, PW_FILTER_FLAG_RT_PROCESS, nullptr, 0);
}

RigMidiBridge::~RigMidiBridge() {
  spa_hook_remove(&hook_);
  pw_filter_destroy(filter_);
}

void RigMidiBridge::process(const spa_io_clock& clock) {
  const bool sameClock = clock.id == clockId_;
  if (sameClock && clock.position == position_) {
    // Woken again for the same cycle: what has come since then is part of it. A buffer that stayed in the queue would
    // keep everything after it back by a cycle.
    for (auto& wire : wires_) take(wire);
    return;
  }
  if (sameClock && clock.position > nextPosition_) {
    missedCycles_ += (clock.position - nextPosition_) / clock.duration;
  }
  clockId_ = clock.id;
  position_ = clock.position;
  nextPosition_ = clock.position + clock.duration;
  for (auto& wire : wires_) {
    give(wire);
    wire.size = 0;
    take(wire);
  }
}

void RigMidiBridge::give(Wire& wire) {
  pw_buffer* buffer = pw_filter_dequeue_buffer(wire.out);
  if (buffer == nullptr) return;
  spa_data& data = buffer->buffer->datas[0];
  data.chunk->offset = 0;
  data.chunk->stride = 1;
  if (wire.size > 0 && wire.size <= data.maxsize) {
    std::memcpy(data.data, wire.held.data(), wire.size);
    data.chunk->size = static_cast<std::uint32_t>(wire.size);
  } else {
    data.chunk->size = writeNothing(data);
  }
  pw_filter_queue_buffer(wire.out, buffer);
}

void RigMidiBridge::take(Wire& wire) {
  pw_buffer* buffer = pw_filter_dequeue_buffer(wire.in);
  if (buffer == nullptr) return;
  const spa_data& data = buffer->buffer->datas[0];
  if (data.chunk->size <= wire.held.size() && data.chunk->offset + data.chunk->size <= data.maxsize) {
    wire.size = data.chunk->size;
    std::memcpy(wire.held.data(), static_cast<const std::uint8_t*>(data.data) + data.chunk->offset, wire.size);
  }
  pw_filter_queue_buffer(wire.in, buffer);
}

}  // namespace tallyrig
