#include <atomic>
#include <cerrno>
#include <cstdio>
#include <set>
#include <thread>

#include "system/PipeWireMidiFixture.h"
#include "system/RigFaults.h"

namespace tallyrig {
namespace {

using std::chrono::milliseconds;
using testing::AnyOf;
using testing::IsEmpty;

/// MIDI devices and servers that go, with and without a session manager.
class PipeWireMidiLoss : public PipeWireMidiFixture, public testing::WithParamInterface<bool> {
 protected:
  void SetUp() override { startRig({.sessionManager = GetParam(), .started = false}); }

  void openBox() {
    rig_->add(RigMidiDevice{.name = "box"});
    openSystem();
    openLoop(source("box"), destination("box"));
  }
};

INSTANTIATE_TEST_SUITE_P(SessionManager, PipeWireMidiLoss, testing::Bool());

TEST_P(PipeWireMidiLoss, PlugAndUnplugAreToldWithNewNumbersEachTime) {
  rig_->start();
  openSystem();
  EXPECT_THAT(system_->sources(), IsEmpty());
  std::set<MIDIEndpointRef> numbers;
  for (int round = 0; round < 4; ++round) {
    const int before = notices_;
    rig_->add(RigMidiDevice{.name = "box", .ports = 4});
    source("capture_3");
    ASSERT_TRUE(queue_.runUntil([&] { return notices_ > before && system_->sources().size() == 4; }));
    for (const auto& endpoint : system_->sources()) EXPECT_TRUE(numbers.insert(endpoint.endpoint).second);
    for (const auto& endpoint : system_->destinations()) EXPECT_TRUE(numbers.insert(endpoint.endpoint).second);
    const int plugged = notices_;
    rig_->removeMidi("box");
    ASSERT_TRUE(vanishes("box"));
    ASSERT_TRUE(queue_.runUntil([&] { return notices_ > plugged; }));
    // Eight ports come and go in a few notices.
    EXPECT_LE(notices_ - before, 8);
  }
}

TEST_P(PipeWireMidiLoss, AnUnpluggedDeviceGivesAStatusAndWorksAgainWhenItReturns) {
  rig_->start();
  openBox();
  const auto from = source("box");
  const auto to = destination("box");
  std::atomic<bool> ends = false;
  std::atomic<int> failed = 0;
  std::thread sender([&] {
    for (int count = 0; !ends; ++count) {
      const auto status = system_->send(out_, to, MidiBytesList{0xF1, 1}, after(milliseconds(count % 100)));
      if (status != kPlatformOk) ++failed;
      std::this_thread::sleep_for(milliseconds(2));
    }
  });
  pause(milliseconds(100));
  rig_->removeMidi("box");
  ASSERT_TRUE(vanishes("box"));
  ASSERT_TRUE(queue_.runUntil([&] { return failed > 0; }));
  ends = true;
  sender.join();
  EXPECT_EQ(send(to, {0xFE}, clock_.now()), -ENODEV);
  EXPECT_EQ(system_->flushOutput(to), -ENODEV);
  EXPECT_EQ(system_->connectSource(in_, from), -ENODEV);
  EXPECT_EQ(system_->disconnectSource(in_, from), -ENODEV);

  rig_->add(RigMidiDevice{.name = "box"});
  EXPECT_NE(destination("box"), to);
  openLoop(source("box"), destination("box"));
  succeeds([&] {
    EXPECT_EQ(send(destination("box"), {0xF3, 9}, after(milliseconds(50))), kPlatformOk);
    return comes(MidiBytesList{0xF3, 9});
  });
}

TEST_P(PipeWireMidiLoss, OneDeviceGoesWithoutTheOther) {
  rig_->start();
  rig_->add(RigMidiDevice{.name = "other"});
  openBox();
  const auto to = destination("box");
  ASSERT_EQ(send(destination("other"), {0xFE}, clock_.now()), kPlatformOk);
  rig_->removeMidi("other");
  ASSERT_TRUE(vanishes("other"));
  EXPECT_EQ(destination("box"), to);
  succeeds([&] {
    EXPECT_EQ(send(to, {0xF3, 9}, after(milliseconds(50))), kPlatformOk);
    return comes(MidiBytesList{0xF3, 9});
  });
}

TEST_P(PipeWireMidiLoss, AMissingServerIsAwaited) {
  openSystem();
  EXPECT_FALSE(system_->isAvailable());
  EXPECT_THAT(system_->sources(), IsEmpty());
  EXPECT_EQ(send(1, {0xFE}, clock_.now()), -ENOTCONN);
  EXPECT_EQ(system_->flushOutput(1), -ENOTCONN);
  EXPECT_EQ(system_->connectSource(in_, 1), -ENOTCONN);
  rig_->start();
  rig_->add(RigMidiDevice{.name = "box"});
  openLoop(source("box"), destination("box"));
  EXPECT_TRUE(system_->isAvailable());
  EXPECT_GT(notices_, 0);
}

TEST_P(PipeWireMidiLoss, AKilledServerIsAwaitedAndThePortsWorkOnTheNextOne) {
  rig_->start();
  openBox();
  auto before = destination("box");
  for (int round = 0; round < 3; ++round) {
    const int notices = notices_;
    ASSERT_EQ(send(before, {0xF3, 1}, after(milliseconds(500))), kPlatformOk);
    rig_->kill();
    ASSERT_TRUE(queue_.runUntil([&] { return !system_->isAvailable(); }));
    ASSERT_TRUE(queue_.runUntil([&] { return notices_ == notices + 1; }));
    EXPECT_THAT(system_->sources(), IsEmpty());
    EXPECT_THAT(system_->destinations(), IsEmpty());
    EXPECT_EQ(send(before, {0xFE}, clock_.now()), -ENOTCONN);
    EXPECT_EQ(system_->flushOutput(before), -ENOTCONN);

    rig_->start();
    const auto after = destination("box");
    EXPECT_GT(after, before);
    EXPECT_EQ(send(before, {0xFE}, clock_.now()), -ENODEV);
    inbox_.clear();
    openLoop(source("box"), after);
    before = after;
  }
}

TEST_P(PipeWireMidiLoss, TheSystemCanGoAtAnyMomentOfALoss) {
  for (int round = 0; round < 5; ++round) {
    rig_->start();
    if (round == 0) rig_->add(RigMidiDevice{.name = "box"});
    openSystem();
    const auto to = destination("box");
    openLoop(source("box"), to);
    send(to, {0xF3, 1}, after(milliseconds(500)));
    rig_->kill();
    if (round % 2 == 0) system_->disposeClient(client_);
    if (round > 2) queue_.runUntil([&] { return !system_->isAvailable(); });
    system_.reset();
  }
}

TEST_P(PipeWireMidiLoss, NoOrderOfEventsHangsOrCrashes) {
  RigFaults faults(
      *rig_, [&](const std::string& name) { rig_->add(RigMidiDevice{.name = name, .ports = 1 + faults.draw(3)}); },
      [&](const std::string& name) { rig_->removeMidi(name); });
  rig_->start();
  openSystem();
  int sent = 0;
  for (int step = 0; step < 150; ++step) {
    switch (step % 25 == 24 ? 0 : 1 + faults.draw(6)) {
      case 0:
        faults.killOrStart();
        break;
      case 1:
        faults.plugOrUnplug();
        break;
      case 2:
        for (const auto& endpoint : system_->sources()) {
          EXPECT_THAT(system_->connectSource(in_, endpoint.endpoint), AnyOf(kPlatformOk, -ENODEV, -ENOTCONN));
        }
        break;
      case 3:
        for (const auto& endpoint : system_->destinations()) {
          const auto status = send(endpoint.endpoint, {0xF3, 1}, after(milliseconds(faults.draw(200))));
          EXPECT_THAT(status, AnyOf(kPlatformOk, -ENODEV, -ENOTCONN, -EPIPE));
          if (status == kPlatformOk) ++sent;
        }
        break;
      case 4:
        for (const auto& endpoint : system_->destinations()) system_->flushOutput(endpoint.endpoint);
        break;
      case 5:
        for (const auto& endpoint : system_->sources()) system_->disconnectSource(in_, endpoint.endpoint);
        break;
      default:
        system_->disposeClient(client_);
        ASSERT_EQ(system_->createClient(
                      "test", [this] { ++notices_; }, client_),
                  kPlatformOk);
        ASSERT_EQ(system_->createOutputPort(client_, "out", out_), kPlatformOk);
        ASSERT_EQ(system_->createInputPort(client_, "in", inbox_.callback(), in_), kPlatformOk);
        break;
    }
    pause(milliseconds(faults.draw(step % 3 == 0 ? 120 : 3)));
  }
  std::printf("%d sent, %zu read\n", sent, inbox_.count());
  EXPECT_GT(sent, 0);
  if (rig_->serverId() == 0) rig_->start();
  rig_->add(RigMidiDevice{.name = "last"});
  openLoop(source("last"), destination("last"));
  succeeds([&] {
    EXPECT_EQ(send(destination("last"), {0xF3, 9}, after(milliseconds(50))), kPlatformOk);
    return comes(MidiBytesList{0xF3, 9});
  });
}

}  // namespace
}  // namespace tallyrig
