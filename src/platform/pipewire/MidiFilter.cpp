#include "platform/pipewire/MidiFilter.h"

#include <utility>

namespace tallyrig {
namespace {

pw_properties* nodeProperties(const std::string& title) {
  return pw_properties_new(PW_KEY_NODE_NAME, title.c_str(), PW_KEY_NODE_DESCRIPTION, title.c_str(), PW_KEY_MEDIA_TYPE,
                           "Midi", PW_KEY_MEDIA_CATEGORY, "Filter", PW_KEY_MEDIA_ROLE, "DSP", nullptr);
}

}  // namespace

MidiFilter::MidiFilter(const PipeWireConnection& connection, Layout layout, Handler handler,
                       std::function<void()> changed)
    : connection_(connection), layout_(std::move(layout)), handler_(std::move(handler)), changed_(std::move(changed)) {}

bool MidiFilter::attach() {
  static const pw_filter_events events = [] {
    pw_filter_events table{};
    table.version = PW_VERSION_FILTER_EVENTS;
    table.state_changed = &MidiFilter::stateChanged;
    table.process = [](void* self, spa_io_position* position) {
      if (position != nullptr) static_cast<MidiFilter*>(self)->process(position->clock);
    };
    return table;
  }();

  pw_core* core = connection_.core();
  if (core == nullptr) return false;
  filter_ = pw_filter_new(core, layout_.title.c_str(), nodeProperties(layout_.title));
  failed_ = filter_ == nullptr;
  if (failed_) return false;
  clockId_ = SPA_ID_INVALID;
  hook_ = {};
  pw_filter_add_listener(filter_, &hook_, &events, this);
  const bool in = layout_.direction == PortDirection::kIn;
  pw_properties* properties =
      pw_properties_new(PW_KEY_FORMAT_DSP, "8 bit raw midi", PW_KEY_PORT_NAME, in ? "input" : "output", nullptr);
  port_ = pw_filter_add_port(filter_, in ? SPA_DIRECTION_INPUT : SPA_DIRECTION_OUTPUT, PW_FILTER_PORT_FLAG_MAP_BUFFERS,
                             sizeof(void*), properties, nullptr, 0);
  if (port_ == nullptr || pw_filter_connect(filter_, PW_FILTER_FLAG_RT_PROCESS, nullptr, 0) < 0) {
    detach();
    failed_ = true;
  }
  return !failed_;
}

void MidiFilter::detach() {
  if (filter_ == nullptr) return;
  spa_hook_remove(&hook_);
  pw_filter_destroy(std::exchange(filter_, nullptr));
  port_ = nullptr;
  failed_ = false;
  cycled_.store(false, std::memory_order_relaxed);
}

std::uint32_t MidiFilter::nodeId() const {
  return filter_ == nullptr ? SPA_ID_INVALID : pw_filter_get_node_id(filter_);
}

void MidiFilter::stateChanged(void* self, pw_filter_state, pw_filter_state now, const char*) {
  auto& filter = *static_cast<MidiFilter*>(self);
  if (now == PW_FILTER_STATE_ERROR) filter.failed_ = true;
  filter.changed_();
}

bool MidiFilter::advanceTo(const spa_io_clock& clock) {
  const bool sameClock = clock.id == clockId_;
  if (sameClock && clock.position == clockPosition_) return false;
  // A longer jump is a pause: the graph stood still, or the node was not needed.
  const bool jumps = sameClock && clock.position > nextPosition_ && clock.position - nextPosition_ < clock.rate.denom;
  if (jumps) {
    missedCycles_.fetch_add((clock.position - nextPosition_) / clock.duration, std::memory_order_relaxed);
  }
  clockId_ = clock.id;
  clockPosition_ = clock.position;
  nextPosition_ = clock.position + clock.duration;
  return true;
}

void MidiFilter::process(const spa_io_clock& clock) {
  const PipeWireConnection::DataThreadScope scope(connection_);
  if (clock.rate.num == 0 || clock.rate.denom == 0 || clock.duration == 0) return;
  // After a stall the server can wake its clients twice for one cycle. Nothing more is sent in it. What has come to be
  // read since then is part of it: left in the queue it would keep all that follows back by a cycle.
  if (!advanceTo(clock) && layout_.direction == PortDirection::kOut) return;
  pw_buffer* buffer = pw_filter_dequeue_buffer(port_);
  if (buffer == nullptr) return;
  const MidiCycle cycle{.start = {clock.nsec},
                        .frames = static_cast<std::uint32_t>(clock.duration),
                        .rate = clock.rate.denom / clock.rate.num};
  spa_data& data = buffer->buffer->datas[0];
  if (data.data != nullptr && data.chunk != nullptr) handler_(cycle, data);
  pw_filter_queue_buffer(port_, buffer);
  cycled_.store(true, std::memory_order_release);
}

}  // namespace tallyrig
