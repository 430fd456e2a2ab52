#include "platform/desktop/FailoverAudioSystem.h"

#include <algorithm>
#include <cerrno>
#include <optional>

#include "platform/desktop/SystemClocks.h"

namespace tallyrig {
namespace {

class FakeIO final : public AudioIO {
 public:
  explicit FakeIO(int& alive) : alive_(alive) { ++alive_; }
  ~FakeIO() override { --alive_; }
  PlatformStatus start() override { return kPlatformOk; }
  void stop() override {}
  void betweenCycles(const std::function<void()>& change) override { change(); }
  bool isCallbackContext() const noexcept override { return false; }

 private:
  int& alive_;
};

/// One side, with devices and a rate of its own.
class FakeSystem : public SoundServer {
 public:
  std::vector<AudioDeviceDescription> devices() const override { return list; }
  Subscription observeDevices(std::function<void()> handler) override {
    changed = std::move(handler);
    return Subscription([this] { changed = nullptr; });
  }
  PlatformStatus nominalSampleRate(AudioDeviceID device, double& value) const override {
    if (!has(device)) return -ENODEV;
    value = rate;
    return kPlatformOk;
  }
  Timing timing(AudioDeviceID device) const override {
    Timing timing;
    if (has(device)) timing.bufferFrames = static_cast<std::uint32_t>(rate);
    return timing;
  }
  PlatformStatus createIO(AudioDeviceID device, AudioCycleCallback, std::unique_ptr<AudioIO>& io) override {
    if (!has(device)) return -ENODEV;
    io = std::make_unique<FakeIO>(openIOs);
    return kPlatformOk;
  }
  std::string notice() const override { return ownNotice; }
  bool isAvailable() const override { return available; }
  std::optional<AudioDeviceID> defaultOutput() const override { return playing; }

  bool has(AudioDeviceID device) const {
    return std::any_of(list.begin(), list.end(), [&](const auto& each) { return each.id == device; });
  }

  std::vector<AudioDeviceDescription> list;
  double rate = 0;
  bool available = true;
  std::string ownNotice;
  std::optional<AudioDeviceID> playing;
  std::function<void()> changed;
  int openIOs = 0;
};

AudioDeviceDescription device(AudioDeviceID id, std::string name) {
  return {.id = id, .name = std::move(name), .inputGroups = {2}, .outputGroups = {2}};
}

class FailoverAudioSystemTest : public testing::Test {
 protected:
  FailoverAudioSystemTest() {
    server_.list = {device(40, "Interface"), device(41, "Desk")};
    server_.rate = 96000;
    fallback_.list = {device(40, "Loopback")};
    fallback_.rate = 48000;
    make();
  }

  void make() { system_.emplace(server_, fallback_, log_); }
  void loseServer() {
    server_.available = false;
    server_.changed();
  }
  void restoreServer() {
    server_.available = true;
    server_.changed();
  }
  AudioDeviceID loopbackID() const { return system_->devices().at(0).id; }

  SystemHostClock clock_;
  SystemWallClock wallClock_;
  std::vector<std::string> lines_;
  Log log_{clock_, wallClock_, [this](std::string_view line) { lines_.emplace_back(line); }};
  FakeSystem server_;
  FakeSystem fallback_;
  std::optional<FailoverAudioSystem> system_;
};

TEST_F(FailoverAudioSystemTest, WithAServerItIsTheServer) {
  EXPECT_EQ(system_->devices(), server_.list);
  EXPECT_EQ(system_->notice(), "");
  double rate = 0;
  EXPECT_EQ(system_->nominalSampleRate(41, rate), kPlatformOk);
  EXPECT_EQ(rate, 96000);
  EXPECT_EQ(system_->timing(40).bufferFrames, 96000);
  std::unique_ptr<AudioIO> io;
  EXPECT_EQ(system_->createIO(40, {}, io), kPlatformOk);
  EXPECT_EQ(server_.openIOs, 1);
  server_.ownNotice = "The server is old.";
  EXPECT_EQ(system_->notice(), "The server is old.");
}

TEST_F(FailoverAudioSystemTest, WithoutAServerItIsTheLoopbackAndSaysSo) {
  server_.available = false;
  make();
  ASSERT_EQ(system_->devices().size(), 1);
  EXPECT_EQ(system_->devices()[0].name, "Loopback");
  EXPECT_EQ(system_->notice(),
            "No sound server. Using the built-in loopback; cards pick up your devices when the server returns.");
  double rate = 0;
  EXPECT_EQ(system_->nominalSampleRate(loopbackID(), rate), kPlatformOk);
  EXPECT_EQ(rate, 48000);
  EXPECT_EQ(system_->timing(loopbackID()).bufferFrames, 48000);
  std::unique_ptr<AudioIO> io;
  EXPECT_EQ(system_->createIO(loopbackID(), {}, io), kPlatformOk);
  EXPECT_EQ(fallback_.openIOs, 1);
  EXPECT_THAT(lines_, testing::IsEmpty());
}

TEST_F(FailoverAudioSystemTest, TheIdsOfTheTwoSidesNeverMeet) {
  loseServer();
  const AudioDeviceID loopback = loopbackID();
  EXPECT_FALSE(server_.has(loopback));
  double rate = 7;
  std::unique_ptr<AudioIO> io;
  EXPECT_EQ(system_->nominalSampleRate(40, rate), -ENODEV);
  EXPECT_EQ(system_->createIO(40, {}, io), -ENODEV);
  EXPECT_EQ(system_->timing(40).bufferFrames, std::nullopt);
  restoreServer();
  EXPECT_EQ(system_->nominalSampleRate(loopback, rate), -ENODEV);
  EXPECT_EQ(system_->createIO(loopback, {}, io), -ENODEV);
  EXPECT_EQ(system_->timing(loopback).bufferFrames, std::nullopt);
  EXPECT_EQ(rate, 7);
  EXPECT_EQ(io, nullptr);
  loseServer();
  EXPECT_EQ(loopbackID(), loopback);
}

TEST_F(FailoverAudioSystemTest, EachChangeOfSidesIsToldAndLoggedOnce) {
  std::vector<std::string> first;
  const auto subscription = system_->observeDevices([&] { first.push_back(system_->devices()[0].name); });
  loseServer();
  server_.changed();
  restoreServer();
  EXPECT_EQ(first, (std::vector<std::string>{"Loopback", "Interface"}));
  EXPECT_EQ(lines_, (std::vector<std::string>{"AudioSystem: sound server lost, using the built-in loopback",
                                              "AudioSystem: sound server available"}));
}

TEST_F(FailoverAudioSystemTest, OnlyChangesOfTheSideInUseAreTold) {
  int changes = 0;
  const auto subscription = system_->observeDevices([&] { ++changes; });
  fallback_.changed();
  EXPECT_EQ(changes, 0);
  server_.changed();
  EXPECT_EQ(changes, 1);
  loseServer();
  EXPECT_EQ(changes, 2);
  fallback_.changed();
  EXPECT_EQ(changes, 3);
}

TEST_F(FailoverAudioSystemTest, AnObserverMayDropItselfAndOthersWhileItIsTold) {
  int second = 0;
  Subscription other;
  Subscription self;
  self = system_->observeDevices([&] {
    other.reset();
    self.reset();
  });
  other = system_->observeDevices([&] { ++second; });
  server_.changed();
  server_.changed();
  EXPECT_EQ(second, 0);
}

TEST_F(FailoverAudioSystemTest, AnObserverMayEndTheSystemAndASubscriptionMayOutliveIt) {
  int second = 0;
  const auto ending = system_->observeDevices([&] { system_.reset(); });
  const auto later = system_->observeDevices([&] { ++second; });
  // A copy: the fake's handler goes with the subscription that the ending system drops.
  const auto changed = server_.changed;
  changed();
  EXPECT_EQ(system_, std::nullopt);
  EXPECT_EQ(server_.changed, nullptr);
  EXPECT_EQ(fallback_.changed, nullptr);
}

TEST_F(FailoverAudioSystemTest, IosOfTheSideThatWentAreDestroyedAsUsual) {
  std::unique_ptr<AudioIO> serverIO;
  ASSERT_EQ(system_->createIO(40, {}, serverIO), kPlatformOk);
  loseServer();
  std::unique_ptr<AudioIO> loopbackIO;
  ASSERT_EQ(system_->createIO(loopbackID(), {}, loopbackIO), kPlatformOk);
  serverIO->stop();
  serverIO.reset();
  EXPECT_EQ(server_.openIOs, 0);
  restoreServer();
  loopbackIO.reset();
  EXPECT_EQ(fallback_.openIOs, 0);
}

TEST_F(FailoverAudioSystemTest, TheDefaultOutputIsTheServersWhileItIsThere) {
  EXPECT_EQ(system_->defaultOutput(), std::nullopt);
  server_.playing = 41;
  EXPECT_EQ(system_->defaultOutput(), 41U);
  server_.available = false;
  server_.changed();
  EXPECT_EQ(system_->defaultOutput(), std::nullopt);
}

}  // namespace
}  // namespace tallyrig
