#include "support/RigSound.h"

#include <pipewire/filter.h>
#include <sndfile.h>

#include <algorithm>
#include <atomic>
#include <stdexcept>
#include <thread>

#include "support/RigClient.h"

namespace tallyrig {
namespace {

std::string nextName() {
  static std::atomic<int> count = 0;
  return "rig.sound." + std::to_string(++count);
}

}  // namespace

RigSamples readSoundFile(const std::filesystem::path& path) {
  SF_INFO info{};
  SNDFILE* file = sf_open(path.c_str(), SFM_READ, &info);
  if (file == nullptr) throw std::runtime_error(path.string() + ": " + sf_strerror(nullptr));
  const auto channels = static_cast<std::size_t>(info.channels);
  std::vector<float> interleaved(static_cast<std::size_t>(info.frames) * channels);
  const auto frames = static_cast<std::size_t>(sf_readf_float(file, interleaved.data(), info.frames));
  sf_close(file);
  RigSamples samples(channels, std::vector<float>(frames));
  for (std::size_t frame = 0; frame < frames; ++frame) {
    for (std::size_t channel = 0; channel < channels; ++channel) {
      samples[channel][frame] = interleaved[frame * channels + channel];
    }
  }
  return samples;
}

class RigSound::Filter {
 public:
  Filter(RigClient& client, bool plays, RigSamples samples, int rate = 0)
      : client_(client), plays_(plays), rate_(rate), samples_(std::move(samples)), frames_(samples_.front().size()) {
    for (const auto& channel : samples_) frames_ = std::max(frames_, channel.size());
  }

  ~Filter() {
    pw_thread_loop_lock(client_.loop());
    for (auto* link : links_) pw_proxy_destroy(link);
    if (filter_ != nullptr) pw_filter_destroy(filter_);
    pw_thread_loop_unlock(client_.loop());
  }

  Filter(const Filter&) = delete;
  Filter& operator=(const Filter&) = delete;

  void open(const std::string& node, const std::vector<int>& ports) {
    const std::string name = nextName();
    const auto own = plays_ ? PortDirection::kOut : PortDirection::kIn;
    const auto theirs = plays_ ? PortDirection::kIn : PortDirection::kOut;
    pw_thread_loop_lock(client_.loop());
    connect(name);
    pw_thread_loop_unlock(client_.loop());
    client_.waitFor("the ports of " + name, [&] { return client_.ports(name, own).size() == samples_.size(); });

    pw_thread_loop_lock(client_.loop());
    const auto mine = client_.ports(name, own);
    const auto there = client_.ports(node, theirs);
    bool found = true;
    for (std::size_t channel = 0; channel < ports.size(); ++channel) {
      const auto port = static_cast<std::size_t>(ports[channel]);
      if (port >= there.size()) {
        found = false;
        break;
      }
      link(plays_ ? mine[channel] : there[port], plays_ ? there[port] : mine[channel]);
    }
    pw_thread_loop_unlock(client_.loop());
    if (!found) throw std::runtime_error(node + " has no such port");
  }

  bool isDone() const { return done_; }
  std::uint64_t startNanos() const { return startNanos_; }
  int gaps() const { return gaps_; }
  const RigSamples& samples() const { return samples_; }

 private:
  void connect(const std::string& name) {
    static const pw_filter_events events = [] {
      pw_filter_events table{};
      table.version = PW_VERSION_FILTER_EVENTS;
      table.process = [](void* self, spa_io_position* position) {
        if (position != nullptr) static_cast<Filter*>(self)->process(position->clock);
      };
      return table;
    }();
    pw_properties* node = pw_properties_new(PW_KEY_NODE_NAME, name.c_str(), nullptr);
    if (rate_ != 0) pw_properties_setf(node, PW_KEY_NODE_RATE, "1/%d", rate_);
    filter_ = pw_filter_new(client_.core(), name.c_str(), node);
    pw_filter_add_listener(filter_, &hook_, &events, this);
    for (std::size_t channel = 0; channel < samples_.size(); ++channel) {
      pw_properties* properties = pw_properties_new(PW_KEY_FORMAT_DSP, "32 bit float mono audio", nullptr);
      pw_properties_setf(properties, PW_KEY_PORT_NAME, "channel_%zu", channel + 1);
      ports_.push_back(pw_filter_add_port(filter_, plays_ ? SPA_DIRECTION_OUTPUT : SPA_DIRECTION_INPUT,
                                          PW_FILTER_PORT_FLAG_MAP_BUFFERS, sizeof(void*), properties, nullptr, 0));
    }
    buffers_.resize(ports_.size());
    pw_filter_connect(filter_, PW_FILTER_FLAG_RT_PROCESS, nullptr, 0);
  }

  void link(const GraphPort& from, const GraphPort& to) {
    pw_properties* properties = pw_properties_new(nullptr, nullptr);
    pw_properties_setf(properties, PW_KEY_LINK_OUTPUT_NODE, "%u", from.nodeId);
    pw_properties_setf(properties, PW_KEY_LINK_OUTPUT_PORT, "%u", from.id);
    pw_properties_setf(properties, PW_KEY_LINK_INPUT_NODE, "%u", to.nodeId);
    pw_properties_setf(properties, PW_KEY_LINK_INPUT_PORT, "%u", to.id);
    links_.push_back(static_cast<pw_proxy*>(pw_core_create_object(
        client_.core(), "link-factory", PW_TYPE_INTERFACE_Link, PW_VERSION_LINK, &properties->dict, 0)));
    pw_properties_free(properties);
  }

  void process(const spa_io_clock& clock) {
    const auto frames = static_cast<std::size_t>(clock.duration);
    // Always: a buffer that is not given back is missing at the other end.
    for (std::size_t channel = 0; channel < ports_.size(); ++channel) {
      buffers_[channel] =
          static_cast<float*>(pw_filter_get_dsp_buffer(ports_[channel], static_cast<std::uint32_t>(frames)));
    }
    if (done_ || (started_ && clock.position == position_)) return;
    const bool linked = std::ranges::find(buffers_, nullptr) == buffers_.end();
    if (!started_ && !linked) return;
    if (!started_) {
      started_ = true;
      const auto cycle = clock.duration * 1'000'000'000 / clock.rate.denom;
      startNanos_ = plays_ ? clock.nsec : clock.nsec - cycle;
    } else if (!linked || clock.position != position_ + frames) {
      ++gaps_;
    }
    position_ = clock.position;
    for (std::size_t channel = 0; channel < samples_.size(); ++channel) move(channel, frames);
    at_ += frames;
    if (at_ >= frames_ + (plays_ ? frames : 0)) done_ = true;
  }

  /// One channel's part of a cycle.
  void move(std::size_t channel, std::size_t frames) {
    float* buffer = buffers_[channel];
    if (buffer == nullptr) return;
    auto& samples = samples_[channel];
    const std::size_t count = at_ < samples.size() ? std::min(frames, samples.size() - at_) : 0;
    if (plays_) {
      std::copy_n(samples.data() + std::min(at_, samples.size()), count, buffer);
      std::fill(buffer + count, buffer + frames, 0.0F);
    } else {
      std::copy_n(buffer, count, samples.data() + std::min(at_, samples.size()));
    }
  }

  RigClient& client_;
  const bool plays_;
  const int rate_;
  RigSamples samples_;
  std::size_t frames_;
  pw_filter* filter_ = nullptr;
  spa_hook hook_{};
  std::vector<void*> ports_;
  std::vector<float*> buffers_;
  std::vector<pw_proxy*> links_;

  // Data thread, read by the test once done.
  bool started_ = false;
  std::size_t at_ = 0;
  std::uint64_t position_ = 0;
  std::atomic<std::uint64_t> startNanos_ = 0;
  std::atomic<int> gaps_ = 0;
  std::atomic<bool> done_ = false;
};

RigSound::RigSound(std::unique_ptr<Filter> filter) : filter_(std::move(filter)) {}

RigSound::~RigSound() = default;

std::unique_ptr<RigSound> RigSound::play(RigClient& client, const std::string& node, const std::vector<int>& ports,
                                         RigSamples samples, int rate) {
  auto filter = std::make_unique<Filter>(client, true, std::move(samples), rate);
  filter->open(node, ports);
  return std::unique_ptr<RigSound>(new RigSound(std::move(filter)));
}

std::unique_ptr<RigSound> RigSound::record(RigClient& client, const std::string& node, const std::vector<int>& ports,
                                           std::size_t frames) {
  auto filter = std::make_unique<Filter>(client, false, RigSamples(ports.size(), std::vector<float>(frames)));
  filter->open(node, ports);
  return std::unique_ptr<RigSound>(new RigSound(std::move(filter)));
}

void RigSound::waitUntilDone(std::chrono::milliseconds limit) {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  while (!filter_->isDone()) {
    if (std::chrono::steady_clock::now() > deadline) throw std::runtime_error("the rig's sound did not end in time");
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
}

std::uint64_t RigSound::startNanos() const {
  return filter_->startNanos();
}

int RigSound::gaps() const {
  return filter_->gaps();
}

const RigSamples& RigSound::samples() const {
  return filter_->samples();
}

}  // namespace tallyrig
