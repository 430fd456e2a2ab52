#include "platform/pipewire/PipeWireConnection.h"

#include <cerrno>
#include <cstdio>

namespace tallyrig {
namespace {

constexpr std::chrono::milliseconds kRetry{500};
/// A server that changes without a pause is listed anyway after so many round trips.
constexpr int kMaximumUnsettledRounds = 20;

timespec timespecOf(std::chrono::nanoseconds duration) {
  return {.tv_sec = static_cast<time_t>(duration.count() / 1'000'000'000),
          .tv_nsec = static_cast<long>(duration.count() % 1'000'000'000)};
}

/// Before 1.4 the data thread asks for real-time priority under this configuration only, and from there on always.
bool wantsRealtimeConfiguration() {
  int major = 0;
  int minor = 0;
  // NOLINTNEXTLINE(bugprone-unchecked-string-to-number-conversion,cert-err34-c)
  if (std::sscanf(pw_get_library_version(), "%d.%d", &major, &minor) != 2) return false;
  return major < 1 || (major == 1 && minor < 4);
}

pw_properties* contextProperties() {
  return pw_properties_new(PW_KEY_APP_NAME, "Tallyrig", PW_KEY_MEDIA_CATEGORY, "Manager", nullptr);
}

}  // namespace

PipeWireConnection::PipeWireConnection(Listener& listener) : listener_(listener) {
  pw_init(nullptr, nullptr);
  loop_ = pw_thread_loop_new("tallyrig-pw", nullptr);
  pw_loop* loop = pw_thread_loop_get_loop(loop_);
  makeContext();
  updateEvent_ = pw_loop_add_event(loop, &PipeWireConnection::update, this);
  retryTimer_ = pw_loop_add_timer(loop, &PipeWireConnection::retry, this);
  tickTimer_ = pw_loop_add_timer(loop, &PipeWireConnection::tick, this);
}

PipeWireConnection::~PipeWireConnection() {
  pw_thread_loop_stop(loop_);
  disconnect();
  pw_loop* loop = pw_thread_loop_get_loop(loop_);
  for (auto* source : {updateEvent_, retryTimer_, tickTimer_}) pw_loop_destroy_source(loop, source);
  pw_context_destroy(context_);
  pw_thread_loop_destroy(loop_);
  pw_deinit();
}

void PipeWireConnection::makeContext() {
  pw_loop* loop = pw_thread_loop_get_loop(loop_);
  if (wantsRealtimeConfiguration()) {
    pw_properties* properties = contextProperties();
    pw_properties_set(properties, PW_KEY_CONFIG_NAME, "client-rt.conf");
    context_ = pw_context_new(loop, properties, 0);
  }
  if (context_ == nullptr) context_ = pw_context_new(loop, contextProperties(), 0);
}

void PipeWireConnection::open() {
  pw_thread_loop_start(loop_);
  const Lock lock(*this);
  timespec interval = timespecOf(kTick);
  pw_loop_update_timer(pw_thread_loop_get_loop(loop_), tickTimer_, &interval, &interval, false);
  connect();
}

void PipeWireConnection::connect() {
  static const pw_core_events coreEvents = [] {
    pw_core_events events{};
    events.version = PW_VERSION_CORE_EVENTS;
    events.info = &PipeWireConnection::coreInfo;
    events.done = &PipeWireConnection::coreDone;
    events.error = &PipeWireConnection::coreError;
    return events;
  }();
  static const pw_registry_events registryEvents = [] {
    pw_registry_events events{};
    events.version = PW_VERSION_REGISTRY_EVENTS;
    events.global = &PipeWireConnection::global;
    events.global_remove = &PipeWireConnection::globalRemoved;
    return events;
  }();

  lost_ = false;
  core_ = context_ == nullptr ? nullptr : pw_context_connect(context_, nullptr, 0);
  if (core_ == nullptr) {
    scheduleRetry();
    return;
  }
  coreHook_ = {};
  registryHook_ = {};
  pw_core_add_listener(core_, &coreHook_, &coreEvents, this);
  registry_ = pw_core_get_registry(core_, PW_VERSION_REGISTRY, 0);
  pw_registry_add_listener(registry_, &registryHook_, &registryEvents, this);
  listener_.onConnected(registry_);
  requestSettling();
}

void PipeWireConnection::disconnect() {
  if (core_ == nullptr) return;
  listener_.onLost();
  spa_hook_remove(&registryHook_);
  pw_proxy_destroy(reinterpret_cast<pw_proxy*>(registry_));
  spa_hook_remove(&coreHook_);
  pw_core_disconnect(core_);
  registry_ = nullptr;
  core_ = nullptr;
  settlingSequence_ = -1;
  unsettledRounds_ = 0;
}

void PipeWireConnection::scheduleRetry() {
  timespec delay = timespecOf(kRetry);
  pw_loop_update_timer(pw_thread_loop_get_loop(loop_), retryTimer_, &delay, nullptr, false);
}

std::uint32_t PipeWireConnection::clientId() const {
  return core_ == nullptr ? SPA_ID_INVALID
                          : pw_proxy_get_bound_id(reinterpret_cast<pw_proxy*>(pw_core_get_client(core_)));
}

void PipeWireConnection::requestUpdate() {
  pw_loop_signal_event(pw_thread_loop_get_loop(loop_), updateEvent_);
}

void PipeWireConnection::requestSettling() {
  if (core_ == nullptr || lost_) return;
  if (settlingSequence_ >= 0) {
    changedSince_ = true;
    return;
  }
  changedSince_ = false;
  settlingSequence_ = pw_core_sync(core_, PW_ID_CORE, 0);
}

void PipeWireConnection::wakeWaiters() {
  pw_thread_loop_signal(loop_, false);
}

bool PipeWireConnection::waitUntil(std::chrono::milliseconds limit, const std::function<bool()>& condition) {
  timespec deadline{};
  pw_thread_loop_get_time(loop_, &deadline, std::chrono::nanoseconds(limit).count());
  while (!condition()) {
    if (pw_thread_loop_timed_wait_full(loop_, &deadline) != 0) return condition();
  }
  return true;
}

void PipeWireConnection::runOnDataThread(const std::function<void()>& work) {
  struct Call {
    const PipeWireConnection& connection;
    const std::function<void()>& work;
  } call{*this, work};
  const auto run = [](spa_loop*, bool, std::uint32_t, const void*, std::size_t, void* data) {
    const auto& asked = *static_cast<const Call*>(data);
    const DataThreadScope scope(asked.connection);
    asked.work();
    return 0;
  };
  pw_data_loop_invoke(pw_context_get_data_loop(context_), run, 0, nullptr, 0, true, &call);
}

void PipeWireConnection::coreInfo(void* self, const pw_core_info* info) {
  static_cast<PipeWireConnection*>(self)->listener_.onServerInfo(*info);
}

void PipeWireConnection::coreDone(void* self, std::uint32_t id, int sequence) {
  auto& connection = *static_cast<PipeWireConnection*>(self);
  if (id != PW_ID_CORE || sequence != connection.settlingSequence_ || connection.lost_) return;
  connection.settlingSequence_ = -1;
  if (connection.changedSince_ && ++connection.unsettledRounds_ < kMaximumUnsettledRounds) {
    connection.requestSettling();
    return;
  }
  connection.unsettledRounds_ = 0;
  if (connection.changedSince_) connection.requestSettling();
  connection.listener_.onSettled();
  connection.wakeWaiters();
}

void PipeWireConnection::coreError(void* self, std::uint32_t id, int, int result, const char*) {
  auto& connection = *static_cast<PipeWireConnection*>(self);
  if (id != PW_ID_CORE || result != -EPIPE || connection.lost_) return;
  // The core cannot be taken down inside its own event.
  connection.lost_ = true;
  connection.requestUpdate();
}

void PipeWireConnection::global(void* self, std::uint32_t id, std::uint32_t, const char* type, std::uint32_t,
                                const spa_dict* properties) {
  auto& connection = *static_cast<PipeWireConnection*>(self);
  connection.listener_.onGlobal(id, type == nullptr ? "" : type, properties);
  connection.requestUpdate();
  connection.requestSettling();
}

void PipeWireConnection::globalRemoved(void* self, std::uint32_t id) {
  auto& connection = *static_cast<PipeWireConnection*>(self);
  connection.listener_.onGlobalRemoved(id);
  connection.requestUpdate();
  connection.requestSettling();
}

void PipeWireConnection::update(void* self, std::uint64_t) {
  auto& connection = *static_cast<PipeWireConnection*>(self);
  if (connection.lost_) {
    connection.lost_ = false;
    connection.disconnect();
    connection.scheduleRetry();
  }
  connection.listener_.onUpdate();
  connection.wakeWaiters();
}

void PipeWireConnection::retry(void* self, std::uint64_t) {
  auto& connection = *static_cast<PipeWireConnection*>(self);
  if (connection.core_ == nullptr) connection.connect();
}

void PipeWireConnection::tick(void* self, std::uint64_t) {
  static_cast<PipeWireConnection*>(self)->listener_.onTick();
}

}  // namespace tallyrig
