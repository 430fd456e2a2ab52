#pragma once

#include <pipewire/pipewire.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <string_view>
#include <utility>

#include "platform/RealtimeScope.h"

namespace tallyrig {

/// The one connection to the sound server: its event loop, its registry, and the way back when the server goes.
///
/// It runs a thread of its own, the loop thread, and the library's data thread. Everything of the library is touched on
/// the loop thread or by a holder of a `Lock`, including blocking calls into the data loop: two of those at once would
/// take each other's answers.
class PipeWireConnection {
 public:
  /// Told on the loop thread, or during the constructor and the destructor on theirs. Under the lock.
  class Listener {
   public:
    virtual ~Listener() = default;

    virtual void onConnected(pw_registry* registry) = 0;
    /// Everything made through the connection must go before this returns.
    virtual void onLost() = 0;
    virtual void onServerInfo(const pw_core_info& info) = 0;
    virtual void onGlobal(std::uint32_t id, std::string_view type, const spa_dict* properties) = 0;
    virtual void onGlobalRemoved(std::uint32_t id) = 0;
    /// After a batch of events, or of requests for an update.
    virtual void onUpdate() = 0;
    /// The server has nothing more to tell for now. Also the first sign that it answers at all.
    virtual void onSettled() = 0;
    /// Every `kTick`, connected or not.
    virtual void onTick() = 0;
  };

  static constexpr std::chrono::milliseconds kTick{250};

  /// Holds the loop still. Recursive. Never from the data thread.
  class Lock {
   public:
    explicit Lock(PipeWireConnection& connection) : loop_(connection.loop_) { pw_thread_loop_lock(loop_); }
    ~Lock() { pw_thread_loop_unlock(loop_); }
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

   private:
    pw_thread_loop* loop_;
  };

  /// Marks the running thread as the data thread, inside a cycle or between two, for as long as it lives. Real-time
  /// safe.
  class DataThreadScope {
   public:
    explicit DataThreadScope(const PipeWireConnection& connection) noexcept
        : before_(std::exchange(current(), &connection)) {}
    ~DataThreadScope() { current() = before_; }
    DataThreadScope(const DataThreadScope&) = delete;
    DataThreadScope& operator=(const DataThreadScope&) = delete;

   private:
    const RealtimeScope realtime_;
    const PipeWireConnection* before_;
  };

  /// Whether the caller stands inside a `DataThreadScope` of this connection. Any thread, real-time safe.
  bool isDataThread() const noexcept { return current() == this; }

  /// A missing server is no error. `listener` must outlive the connection.
  explicit PipeWireConnection(Listener& listener);
  ~PipeWireConnection();
  PipeWireConnection(const PipeWireConnection&) = delete;
  PipeWireConnection& operator=(const PipeWireConnection&) = delete;

  /// Begins to connect, again and again until it succeeds.
  void open();

  /// Null while there is no server. Under a lock.
  pw_core* core() const { return core_; }

  /// By which the server knows this program, as its nodes' property "client.id" says it; SPA_ID_INVALID until it is
  /// known. Under a lock.
  std::uint32_t clientId() const;

  /// Asks for `onUpdate` soon. Under a lock.
  void requestUpdate();
  /// Asks for `onSettled` after the next round trip. Under a lock.
  void requestSettling();

  /// Wakes those who wait. Under a lock.
  void wakeWaiters();
  /// Lets the loop run until `condition` holds, which is evaluated under the lock, but not beyond `limit`; returns
  /// what it was last. The caller holds exactly one lock and is not the loop thread.
  bool waitUntil(std::chrono::milliseconds limit, const std::function<bool()>& condition);

  /// Runs `work` on the data thread between two cycles and returns when it has run. Under a lock.
  void runOnDataThread(const std::function<void()>& work);

 private:
  void makeContext();
  void connect();
  void disconnect();
  void scheduleRetry();

  static void coreInfo(void* self, const pw_core_info* info);
  static void coreDone(void* self, std::uint32_t id, int sequence);
  static void coreError(void* self, std::uint32_t id, int sequence, int result, const char* message);
  static void global(void* self, std::uint32_t id, std::uint32_t permissions, const char* type, std::uint32_t version,
                     const spa_dict* properties);
  static void globalRemoved(void* self, std::uint32_t id);
  static void update(void* self, std::uint64_t count);
  static void retry(void* self, std::uint64_t expirations);
  static void tick(void* self, std::uint64_t expirations);

  /// Of the running thread.
  static const PipeWireConnection*& current() noexcept {
    static constinit thread_local const PipeWireConnection* connection = nullptr;
    return connection;
  }

  Listener& listener_;
  pw_thread_loop* loop_ = nullptr;
  pw_context* context_ = nullptr;
  pw_core* core_ = nullptr;
  pw_registry* registry_ = nullptr;
  spa_hook coreHook_{};
  spa_hook registryHook_{};
  spa_source* updateEvent_ = nullptr;
  spa_source* retryTimer_ = nullptr;
  spa_source* tickTimer_ = nullptr;
  int settlingSequence_ = -1;
  /// Something came after the round trip in `settlingSequence_` had been asked for.
  bool changedSince_ = false;
  int unsettledRounds_ = 0;
  bool lost_ = false;
};

}  // namespace tallyrig
