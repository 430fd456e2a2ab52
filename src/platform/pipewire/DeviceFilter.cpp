#include "platform/pipewire/DeviceFilter.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace tallyrig {
namespace {

/// How long `frames` last at `rate` hertz, in nanoseconds, to the nearest.
std::uint64_t nanosOf(std::uint64_t frames, std::uint32_t rate) {
  return (frames * 1'000'000'000 + rate / 2) / rate;
}

pw_properties* nodeProperties(const DeviceFilter::Layout& layout) {
  // Rate and quantum are the user's: the node asks for neither, and while it runs it holds the rate that it found.
  return pw_properties_new(PW_KEY_NODE_NAME, layout.name.c_str(), PW_KEY_NODE_DESCRIPTION, layout.title.c_str(),
                           PW_KEY_MEDIA_TYPE, "Audio", PW_KEY_MEDIA_CATEGORY, "Duplex", PW_KEY_MEDIA_ROLE, "DSP",
                           PW_KEY_NODE_LOCK_RATE, "true", nullptr);
}

}  // namespace

DeviceFilter::DeviceFilter(const PipeWireConnection& connection, Layout layout, AudioCycleCallback callback,
                           std::function<void()> changed)
    : connection_(connection),
      layout_(std::move(layout)),
      callback_(std::move(callback)),
      changed_(std::move(changed)),
      inputs_(static_cast<std::size_t>(layout_.inputs)),
      outputs_(static_cast<std::size_t>(layout_.outputs)),
      silence_(kMaximumFrames),
      drain_(kMaximumFrames) {}

bool DeviceFilter::attach() {
  static const pw_filter_events events = [] {
    pw_filter_events table{};
    table.version = PW_VERSION_FILTER_EVENTS;
    table.state_changed = &DeviceFilter::stateChanged;
    table.process = [](void* self, spa_io_position* position) {
      if (position != nullptr) static_cast<DeviceFilter*>(self)->process(*position);
    };
    return table;
  }();

  pw_core* core = connection_.core();
  if (core == nullptr) return false;
  filter_ = pw_filter_new(core, layout_.title.c_str(), nodeProperties(layout_));
  failed_ = filter_ == nullptr;
  if (failed_) return false;
  clockId_ = SPA_ID_INVALID;
  observedRate_.store(0, std::memory_order_relaxed);
  hook_ = {};
  pw_filter_add_listener(filter_, &hook_, &events, this);
  addPorts(layout_.inputs, SPA_DIRECTION_INPUT, inputPorts_);
  addPorts(layout_.outputs, SPA_DIRECTION_OUTPUT, outputPorts_);
  if (pw_filter_connect(filter_, PW_FILTER_FLAG_RT_PROCESS, nullptr, 0) < 0) {
    detach();
    failed_ = true;
  }
  return !failed_;
}

void DeviceFilter::addPorts(int count, spa_direction direction, std::vector<void*>& ports) {
  for (int channel = 1; channel <= count; ++channel) {
    pw_properties* properties = pw_properties_new(PW_KEY_FORMAT_DSP, "32 bit float mono audio", nullptr);
    pw_properties_setf(properties, PW_KEY_PORT_NAME, "%s_%d", direction == SPA_DIRECTION_INPUT ? "input" : "output",
                       channel);
    ports.push_back(
        pw_filter_add_port(filter_, direction, PW_FILTER_PORT_FLAG_MAP_BUFFERS, sizeof(void*), properties, nullptr, 0));
  }
}

void DeviceFilter::detach() {
  if (filter_ == nullptr) return;
  spa_hook_remove(&hook_);
  pw_filter_destroy(std::exchange(filter_, nullptr));
  inputPorts_.clear();
  outputPorts_.clear();
  failed_ = false;
}

std::uint32_t DeviceFilter::nodeId() const {
  return filter_ == nullptr ? SPA_ID_INVALID : pw_filter_get_node_id(filter_);
}

DeviceFilter::Observed DeviceFilter::observed() const {
  const std::uint32_t rate = observedRate_.load(std::memory_order_acquire);
  return {.rate = rate,
          .frames = observedFrames_.load(std::memory_order_relaxed),
          .dataThread = dataThread_.load(std::memory_order_relaxed)};
}

void DeviceFilter::stateChanged(void* self, pw_filter_state, pw_filter_state now, const char*) {
  auto& filter = *static_cast<DeviceFilter*>(self);
  if (now == PW_FILTER_STATE_ERROR) filter.failed_ = true;
  filter.changed_();
}

void DeviceFilter::process(const spa_io_position& position) {
  const PipeWireConnection::DataThreadScope scope(connection_);
  const spa_io_clock& clock = position.clock;
  const std::uint32_t rate = clock.rate.num == 0 ? 0 : clock.rate.denom / clock.rate.num;
  const auto frames = static_cast<std::uint32_t>(std::min<std::uint64_t>(clock.duration, kMaximumFrames + 1));
  // Even where nobody listens: a buffer that is not given back is missing at the device for ever.
  takeInputs(frames);
  if (rate == 0 || frames == 0 || frames > kMaximumFrames) return;

  // After a stall the server can wake its clients twice for one cycle.
  if (clock.id == clockId_ && clock.position == clockPosition_) return;
  clockId_ = clock.id;
  clockPosition_ = clock.position;
  if (!linked_) return;
  dataThread_.store(pthread_self(), std::memory_order_relaxed);
  observedFrames_.store(frames, std::memory_order_relaxed);
  observedRate_.store(rate, std::memory_order_release);
  if (!running_) return;

  takeOutputs(frames);
  // The nominal start of the cycle, not the time of waking: what is recorded in this cycle was at the connector one
  // cycle earlier, what is played now is there from the start of the cycle. Latencies of converters and cables are
  // left out: a time stamp means the server's own instant, the same on both sides.
  const std::uint64_t recorded = nanosOf(frames, rate);
  callback_({.input = inputs_,
             .inputTime = {.hostTime = {clock.nsec > recorded ? clock.nsec - recorded : 0}, .hostTimeValid = true},
             .output = outputs_,
             .outputTime = {.hostTime = {clock.nsec}, .hostTimeValid = true}});
}

void DeviceFilter::takeInputs(std::uint32_t frames) {
  const auto bytes = static_cast<std::uint32_t>(frames * sizeof(float));
  for (std::size_t channel = 0; channel < inputs_.size(); ++channel) {
    auto* data = static_cast<float*>(pw_filter_get_dsp_buffer(inputPorts_[channel], frames));
    inputs_[channel] = {.channelCount = 1, .byteSize = bytes, .data = data != nullptr ? data : silence_.data()};
  }
}

void DeviceFilter::takeOutputs(std::uint32_t frames) {
  const auto bytes = static_cast<std::uint32_t>(frames * sizeof(float));
  for (std::size_t channel = 0; channel < outputs_.size(); ++channel) {
    auto* data = static_cast<float*>(pw_filter_get_dsp_buffer(outputPorts_[channel], frames));
    if (data == nullptr) data = drain_.data();
    // The server's buffers come round again with their old sound in them.
    std::memset(data, 0, bytes);
    outputs_[channel] = {.channelCount = 1, .byteSize = bytes, .data = data};
  }
}

}  // namespace tallyrig
