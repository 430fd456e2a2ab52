#include "audio/LTCAudioInputHub.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <memory>
#include <vector>

#include "platform/simulated/SimulatedWorld.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;
using Kind = LTCAudioInputError::Kind;

/// A hub over a world of two devices, with clients that count what reaches them.
class LTCAudioInputHubTest : public testing::Test {
 protected:
  /// One client of the hub.
  struct Client {
    QUuid id = QUuid::createUuid();
    int calls = 0;
    std::uint32_t frames = 0;
    double sampleRate = 0;
    AudioTimeStamp time;
  };

  AudioInputDevice record(const SimulatedDevice& device) const {
    for (const auto& listed : listInputDevices(world.audio())) {
      if (listed.id == device.id()) return listed;
    }
    ADD_FAILURE() << "no such device";
    return {};
  }

  std::shared_ptr<Client> join(const SimulatedDevice& device) {
    auto client = std::make_shared<Client>();
    const auto listed = record(device);
    hub.addSubscription(client->id, {listed.id, listed.name, inputHandler(client)});
    lastError = hub.join(client->id, listed);
    return client;
  }

  static AudioInputHandler inputHandler(const std::shared_ptr<Client>& client) {
    return [client](std::span<const AudioBuffer>, std::uint32_t frames, double sampleRate, const AudioTimeStamp& time) {
      ++client->calls;
      client->frames = frames;
      client->sampleRate = sampleRate;
      client->time = time;
    };
  }

  std::shared_ptr<Client> attach(AudioDeviceID device, const std::string& name) {
    auto client = std::make_shared<Client>();
    lastError =
        hub.attachOutput(device, name, client->id, [client](std::span<AudioBuffer>, const AudioTimeStamp& time) {
          ++client->calls;
          client->time = time;
        });
    return client;
  }

  mutable SimulatedWorld world;
  SimulatedDevice& desk =
      world.audio().addDevice({.name = "Desk", .inputGroups = {8}, .outputGroups = {8}, .quantum = 256});
  SimulatedDevice& stage = world.audio().addDevice({.name = "Stage", .inputGroups = {2, 2}, .outputGroups = {2}});
  LTCAudioInputHub hub{world.audio(), world.scheduler(), world.log()};
  std::optional<LTCAudioInputError> lastError;
};

TEST_F(LTCAudioInputHubTest, TwoClientsShareOneSession) {
  const auto first = join(desk);
  const auto second = join(desk);
  world.runFor(1s);
  EXPECT_EQ(hub.sessions().size(), 1U);
  EXPECT_EQ(desk.counters().opens, 1);
  EXPECT_EQ(desk.counters().starts, 1);
  EXPECT_GT(first->calls, 100);
  EXPECT_EQ(first->calls, second->calls);
  EXPECT_EQ(first->frames, 256U);
  EXPECT_EQ(first->sampleRate, 48000.0);
  EXPECT_EQ(world.logCount("LTCAudioInputHub: joined existing device session Desk, id " + std::to_string(desk.id())),
            1U);
}

TEST_F(LTCAudioInputHubTest, OpeningTellsTheDeviceInTheLog) {
  AudioSystem::Timing timing;
  timing.inputLatency = 12;
  stage.setReportedTiming(timing);
  join(stage);
  EXPECT_EQ(world.logCount("LTCAudioDeviceSession: opened shared IOProc Stage, id " + std::to_string(stage.id()) +
                           ", layout 2+2 @ 48000Hz, buffer 512f, latency 12f, safety 0f"),
            1U);
}

TEST_F(LTCAudioInputHubTest, TheFirstClientLeavesAndTheOtherCarriesOn) {
  const auto first = join(desk);
  const auto second = join(desk);
  world.runFor(100ms);
  hub.unsubscribe(first->id);
  const int callsOfFirst = first->calls;
  const auto cycles = desk.counters().cycles;
  const int callsOfSecond = second->calls;
  world.runFor(100ms);
  EXPECT_EQ(first->calls, callsOfFirst);
  EXPECT_EQ(second->calls - callsOfSecond, desk.counters().cycles - cycles);
  EXPECT_EQ(desk.counters().starts, 1);
  EXPECT_EQ(desk.counters().stops, 0);

  hub.unsubscribe(second->id);
  EXPECT_TRUE(hub.sessions().empty());
  EXPECT_EQ(desk.counters().stops, 1);
  EXPECT_EQ(desk.liveIOs(), 0U);
}

TEST_F(LTCAudioInputHubTest, AnOutputKeepsTheSessionOpen) {
  const auto input = join(desk);
  const auto output = attach(desk.id(), "Desk");
  EXPECT_FALSE(lastError);
  EXPECT_EQ(world.logCount("LTCAudioInputHub: attached output to shared device session Desk, id " +
                           std::to_string(desk.id())),
            1U);
  hub.unsubscribe(input->id);
  world.runFor(100ms);
  EXPECT_GT(output->calls, 0);
  EXPECT_EQ(desk.counters().starts, 1);
  hub.detachOutput(output->id);
  EXPECT_TRUE(hub.sessions().empty());
}

TEST_F(LTCAudioInputHubTest, ADeviceWithoutInputsCannotBeShared) {
  SimulatedDevice& wedge = world.audio().addDevice({.name = "Wedge", .outputGroups = {2}});
  const auto output = attach(wedge.id(), "Wedge");
  EXPECT_EQ(lastError, (LTCAudioInputError{Kind::outputOnlyDevice}));
  EXPECT_EQ(lastError->description(), "Audio device has no input stream for shared full-duplex IO");
  EXPECT_TRUE(hub.outputSubscriptions().empty());
  EXPECT_EQ(wedge.counters().opens, 0);
}

TEST_F(LTCAudioInputHubTest, AnOutputAloneOpensTheDevice) {
  const auto output = attach(stage.id(), "Stage");
  world.runFor(100ms);
  EXPECT_FALSE(lastError);
  EXPECT_GT(output->calls, 0);
}

TEST_F(LTCAudioInputHubTest, ARefusedOutputIsNotKept) {
  stage.failures().start = -EIO;
  const auto output = attach(stage.id(), "Stage");
  EXPECT_EQ(lastError, (LTCAudioInputError{Kind::osStatus, -EIO}));
  EXPECT_TRUE(hub.outputSubscriptions().empty());
  EXPECT_TRUE(hub.sessions().empty());
  EXPECT_EQ(stage.liveIOs(), 0U);
}

TEST_F(LTCAudioInputHubTest, JoiningWithoutAnEntryDoesNothing) {
  EXPECT_FALSE(hub.join(QUuid::createUuid(), record(desk)));
  EXPECT_TRUE(hub.sessions().empty());
  EXPECT_EQ(desk.counters().opens, 0);
}

TEST_F(LTCAudioInputHubTest, EachWayToFailAtOpeningIsReported) {
  desk.failures().nominalRate = -ENODEV;
  join(desk);
  EXPECT_EQ(lastError, (LTCAudioInputError{Kind::osStatus, -ENODEV}));
  EXPECT_EQ(lastError->description(), "CoreAudio error -19");

  desk.failures() = {.createIO = -EBUSY};
  join(desk);
  EXPECT_EQ(lastError, (LTCAudioInputError{Kind::osStatus, -EBUSY}));

  desk.failures() = {.createsNoIO = true};
  join(desk);
  EXPECT_EQ(lastError, (LTCAudioInputError{Kind::missingIOProc}));
  EXPECT_EQ(lastError->description(), "CoreAudio did not create an input IOProc");

  desk.failures() = {.start = -EIO};
  join(desk);
  EXPECT_EQ(lastError, (LTCAudioInputError{Kind::osStatus, -EIO}));

  EXPECT_TRUE(hub.sessions().empty());
  EXPECT_EQ(desk.liveIOs(), 0U);

  desk.failures() = {};
  const auto client = join(desk);
  world.runFor(50ms);
  EXPECT_GT(client->calls, 0);
}

TEST_F(LTCAudioInputHubTest, ALostDeviceRebuildsAllSessionsAfterASecond) {
  const auto onDesk = join(desk);
  const auto onStage = join(stage);
  world.runFor(100ms);
  world.audio().unplug(desk);
  world.runFor(990ms);
  EXPECT_FALSE(world.hasLogged("LTCAudioInputHub: rebuilding shared input sessions"));
  const int callsBefore = onStage->calls;

  world.runFor(20ms);
  EXPECT_EQ(world.logCount("LTCAudioInputHub: rebuilding shared input sessions"), 1U);
  EXPECT_EQ(world.logCount("LTCAudioInputHub: waiting for audio device — Desk"), 1U);
  EXPECT_EQ(stage.counters().starts, 2);
  EXPECT_EQ(hub.sessions().size(), 1U);
  EXPECT_TRUE(hub.subscriptions().contains(onDesk->id));
  world.runFor(100ms);
  EXPECT_GT(onStage->calls, callsBefore);
}

TEST_F(LTCAudioInputHubTest, ABurstOfNoticesEndsInOneRebuild) {
  join(desk);
  join(stage);
  world.audio().unplug(desk);
  for (int i = 0; i < 5; ++i) {
    world.runFor(900ms);
    world.audio().announceChange();
  }
  EXPECT_EQ(world.logCount("LTCAudioInputHub: rebuilding"), 0U);
  world.runFor(1100ms);
  EXPECT_EQ(world.logCount("LTCAudioInputHub: rebuilding"), 1U);
}

TEST_F(LTCAudioInputHubTest, ANewDeviceDisturbsNobody) {
  const auto client = join(desk);
  world.runFor(100ms);
  world.audio().addDevice({.name = "New", .inputGroups = {2}});
  const auto cycles = desk.counters().cycles;
  const int calls = client->calls;
  world.runFor(3s);
  EXPECT_FALSE(world.hasLogged("LTCAudioInputHub: rebuilding"));
  EXPECT_EQ(desk.counters().starts, 1);
  EXPECT_EQ(client->calls - calls, desk.counters().cycles - cycles);
}

TEST_F(LTCAudioInputHubTest, ADeviceBackUnderANewNumberIsFollowedByName) {
  const auto input = join(desk);
  const auto output = attach(desk.id(), "Desk");
  world.runFor(100ms);
  const AudioDeviceID before = desk.id();
  world.audio().unplug(desk);
  world.runFor(200ms);
  world.audio().plugIn(desk);
  ASSERT_NE(desk.id(), before);
  const int calls = input->calls;
  const int outputCalls = output->calls;
  world.runFor(1500ms);
  EXPECT_EQ(hub.subscriptions().at(input->id).deviceID, desk.id());
  EXPECT_EQ(hub.outputSubscriptions().at(output->id).deviceID, desk.id());
  EXPECT_TRUE(hub.sessions().contains(desk.id()));
  EXPECT_GT(input->calls, calls);
  EXPECT_GT(output->calls, outputCalls);
}

TEST_F(LTCAudioInputHubTest, AClientWaitingForItsDeviceIsNotServedByAPlainRebuild) {
  const auto client = join(desk);
  world.audio().unplug(desk);
  world.runFor(2s);
  world.audio().plugIn(desk);
  const int calls = client->calls;
  world.runFor(3s);
  EXPECT_EQ(client->calls, calls);
  EXPECT_TRUE(hub.sessions().empty());

  hub.scheduleRebuild(true);
  world.runFor(1100ms);
  EXPECT_TRUE(hub.sessions().contains(desk.id()));
  EXPECT_GT(client->calls, calls);
}

TEST_F(LTCAudioInputHubTest, TheLastCallOfScheduleRebuildCounts) {
  join(desk);
  hub.scheduleRebuild(true);
  world.runFor(500ms);
  hub.scheduleRebuild(false);
  world.runFor(3s);
  EXPECT_FALSE(world.hasLogged("LTCAudioInputHub: rebuilding"));

  hub.scheduleRebuild(false);
  world.runFor(500ms);
  hub.scheduleRebuild(true);
  world.runFor(1s);
  EXPECT_EQ(world.logCount("LTCAudioInputHub: rebuilding"), 1U);
}

TEST_F(LTCAudioInputHubTest, ARebuildWithoutClientsDoesNothing) {
  hub.scheduleRebuild(true);
  world.runFor(2s);
  EXPECT_FALSE(world.hasLogged("LTCAudioInputHub: rebuilding"));
}

TEST_F(LTCAudioInputHubTest, AFailureInARebuildIsALineAndTheClientWaits) {
  const auto input = join(desk);
  const auto output = attach(stage.id(), "Stage");
  desk.failures().start = -EIO;
  stage.failures().start = -EPERM;
  hub.scheduleRebuild(true);
  world.runFor(1100ms);
  EXPECT_EQ(world.logCount("LTCAudioInputHub: failed to rebuild audio device — CoreAudio error -5"), 1U);
  EXPECT_EQ(world.logCount("LTCAudioInputHub: failed to rebuild audio output — CoreAudio error -1"), 1U);
  EXPECT_TRUE(hub.subscriptions().contains(input->id));
  EXPECT_TRUE(hub.sessions().empty());
}

TEST_F(LTCAudioInputHubTest, AnOutputWhoseDeviceIsGoneStaysWithoutALine) {
  const auto output = attach(stage.id(), "Stage");
  world.audio().unplug(stage);
  world.clearLog();
  world.runFor(2s);
  EXPECT_THAT(world.logLines(), testing::ElementsAre("LTCAudioInputHub: rebuilding shared input sessions"));
  EXPECT_TRUE(hub.outputSubscriptions().contains(output->id));
}

TEST_F(LTCAudioInputHubTest, OfTwoDevicesOfOneNameARebuildTakesTheFirst) {
  SimulatedDevice& twin = world.audio().addDevice({.name = "Desk", .inputGroups = {2}});
  const auto client = join(twin);
  world.runFor(2s);  // Past the notice of the new device, which would replace the forced rebuild.
  ASSERT_EQ(hub.subscriptions().at(client->id).deviceID, twin.id());
  hub.scheduleRebuild(true);
  world.runFor(1100ms);
  EXPECT_EQ(hub.subscriptions().at(client->id).deviceID, desk.id());
}

TEST_F(LTCAudioInputHubTest, AnEmptyFirstInputBufferSilencesInputsOnly) {
  SimulatedDevice& odd =
      world.audio().addDevice({.name = "Odd", .inputGroups = {2}, .outputGroups = {2}, .hasEmptyFirstInput = true});
  const auto input = join(odd);
  const auto output = attach(odd.id(), "Odd");
  world.runFor(200ms);
  EXPECT_EQ(input->calls, 0);
  EXPECT_GT(output->calls, 0);
}

TEST_F(LTCAudioInputHubTest, OutputsAddToClearedBuffers) {
  stage.setOutputBefore(0.5F);
  std::vector<float> left;
  std::vector<float> right;
  const auto collect = [](std::vector<float>& into) {
    return [&into](std::int64_t, std::span<const float> samples) { into.assign(samples.begin(), samples.end()); };
  };
  stage.onOutput(0, collect(left));
  stage.onOutput(1, collect(right));
  const auto input = join(stage);
  world.runFor(100ms);
  ASSERT_FALSE(left.empty());
  EXPECT_EQ(left.front(), 0.5F) << "with no output handler the buffers are left untouched";

  hub.attachOutput(stage.id(), "Stage", QUuid::createUuid(), [](std::span<AudioBuffer> buffers, const AudioTimeStamp&) {
    for (std::size_t i = 0; i < buffers[0].byteSize / sizeof(float); i += 2) buffers[0].data[i] = 0.25F;
  });
  world.runFor(100ms);
  EXPECT_THAT(left, testing::Each(0.25F));
  EXPECT_THAT(right, testing::Each(0.0F));
}

TEST_F(LTCAudioInputHubTest, AHubThatIsGoneIsNotCalledBack) {
  {
    LTCAudioInputHub other(world.audio(), world.scheduler(), world.log());
    other.scheduleRebuild(true);
  }
  world.audio().announceChange();
  world.runFor(2s);
  EXPECT_FALSE(world.hasLogged("rebuilding"));
}

}  // namespace
}  // namespace tallyrig
