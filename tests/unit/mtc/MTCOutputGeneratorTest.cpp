#include "mtc/MTCOutputGenerator.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <memory>

#include "platform/simulated/SimulatedWorld.h"
#include "support/FrameRates.h"
#include "support/RecordingMidiSystem.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;

/// At their ends no quarter frame falls due.
constexpr auto kAWhile = 1003ms;
constexpr auto kAMoment = 3ms;

class MTCOutputGeneratorTest : public testing::Test {
 protected:
  std::unique_ptr<MTCOutputGenerator> makeGenerator() {
    return std::make_unique<MTCOutputGenerator>(world.clock(), world.scheduler(), world.log(), world.midi(), ports);
  }

  TimecodeAnchor anchorNow(std::int64_t hours = 10, MTCFrameRate rate = k25) {
    return {{hours, 0, 0, 0, rate}, world.clock().now()};
  }

  /// The destination that `name` leads to, by what it receives.
  std::string heardAt(const std::string& name) {
    generator->start(name, anchorNow());
    world.runFor(kAMoment);
    std::string result;
    for (SimulatedMidiDestination* destination : destinations) {
      if (!destination->received().empty()) result += destination->name();
      destination->clearReceived();
    }
    generator->stop();
    return result;
  }

  SimulatedMidiDestination& addDestination(const std::string& name) {
    return *destinations.emplace_back(&world.midi().addDestination(name));
  }

  SimulatedWorld world{{.seed = 9, .tick = {125, 3}}};
  std::vector<SimulatedMidiDestination*> destinations;
  SimulatedMidiDestination& desk = addDestination("Desk");
  MIDIOutputPortManager ports{world.midi(), world.log()};
  std::unique_ptr<MTCOutputGenerator> generator = makeGenerator();
};

TEST_F(MTCOutputGeneratorTest, StandsStillAtFirst) {
  EXPECT_FALSE(generator->isGenerating());
  EXPECT_EQ(generator->currentAnchor(), std::nullopt);
  EXPECT_EQ(generator->errorMessage(), std::nullopt);
  EXPECT_THAT(generator->availableDestinations, IsEmpty());
  EXPECT_EQ(world.midi().portCount(), 0u);
}

TEST_F(MTCOutputGeneratorTest, StartsTheStreamAndSaysSo) {
  const TimecodeAnchor anchor = anchorNow(10, MTCFrameRate::fps2997);
  generator->start("Desk", anchor);
  EXPECT_TRUE(generator->isGenerating());
  EXPECT_EQ(generator->currentAnchor(), anchor);
  EXPECT_EQ(generator->errorMessage(), std::nullopt);
  EXPECT_THAT(generator->availableDestinations, ElementsAre(MIDIDestinationDevice{desk.endpoint(), "Desk"}));
  EXPECT_THAT(world.logLines(), ElementsAre("[09:00:00.000 +0.000ms] MTCOutput: sent full-frame locate 10:00:00:00",
                                            "MTCOutput: started 29.97 DF fps to Desk"));
  world.runFor(kAWhile);
  EXPECT_GT(desk.received().size(), 100u);
}

TEST_F(MTCOutputGeneratorTest, NamesEachRateInItsLine) {
  generator->start("Desk", anchorNow(1, MTCFrameRate::fps24));
  generator->start("Desk", anchorNow(1, MTCFrameRate::fps25));
  generator->start("Desk", anchorNow(1, MTCFrameRate::fps30));
  for (const char* rate : {"24", "25", "30"}) {
    EXPECT_EQ(world.logCount(formatted("MTCOutput: started %s fps to Desk", rate)), 1u);
  }
}

TEST_F(MTCOutputGeneratorTest, StopEndsItAtOnceAndNamesTheLastTimecode) {
  generator->start("Desk", anchorNow());
  world.runFor(kAWhile);
  world.clearLog();
  const std::size_t left = desk.received().size();
  generator->stop();
  EXPECT_FALSE(generator->isGenerating());
  EXPECT_EQ(generator->currentAnchor(), std::nullopt);
  // Up to 100 ms ahead, the last sequence began at 1050 ms: 80 ms each from 10 ms on.
  EXPECT_THAT(world.logLines(),
              ElementsAre(EndsWith("MTCOutput: stopped; latest scheduled quarter-frame belonged to 10:00:01:01")));
  world.runFor(5s);
  EXPECT_EQ(desk.received().size(), left);
  world.clearLog();
  generator->stop();
  EXPECT_THAT(world.logLines(), IsEmpty());
}

TEST_F(MTCOutputGeneratorTest, TellsOfItsStateAndItsAnchors) {
  std::vector<std::string> told;
  QObject::connect(generator.get(), &MTCOutputGenerator::currentAnchorChanged, generator.get(),
                   [&](const TimecodeAnchor& anchor) {
                     EXPECT_EQ(generator->currentAnchor(), anchor);
                     EXPECT_TRUE(generator->isGenerating());
                     told.push_back("anchor " + anchor.timecode.text());
                   });
  QObject::connect(generator.get(), &MTCOutputGenerator::stateChanged, generator.get(),
                   [&] { told.emplace_back(generator->isGenerating() ? "running" : "idle"); });
  generator->start("Desk", anchorNow());
  EXPECT_THAT(told, ElementsAre("idle", "anchor 10:00:00:00", "running"));
  told.clear();
  generator->update(anchorNow(11));
  generator->stop();
  EXPECT_THAT(told, ElementsAre("anchor 11:00:00:00", "idle"));
}

TEST_F(MTCOutputGeneratorTest, AnUpdateWithinAFrameChangesTheAnchorOnly) {
  const TimecodeAnchor first = anchorNow();
  generator->start("Desk", first);
  world.runFor(kAWhile);
  const TimecodeAnchor corrected{first.extrapolated(world.clock().now(), world.clock()).advanced(1),
                                 world.clock().now()};
  generator->update(corrected);
  EXPECT_EQ(generator->currentAnchor(), corrected);
  world.runPending();
  EXPECT_FALSE(world.hasLogged("relocated"));
  const TimecodeAnchor jump{corrected.timecode.advanced(500), world.clock().now()};
  generator->update(jump);
  EXPECT_FALSE(world.hasLogged("relocated")) << "the worker does it on its own queue";
  EXPECT_EQ(generator->currentAnchor(), jump);
  world.runPending();
  EXPECT_EQ(world.logCount("MTCOutput: relocated stream to " + jump.timecode.text()), 1u);
}

TEST_F(MTCOutputGeneratorTest, WithoutAClientItShowsTheManagersText) {
  world.midi().failures().createClient = -12;
  generator->start("Desk", anchorNow());
  EXPECT_FALSE(generator->isGenerating());
  EXPECT_EQ(generator->currentAnchor(), std::nullopt);
  EXPECT_EQ(generator->errorMessage(), "CoreMIDI client error -12");
  EXPECT_THAT(generator->availableDestinations, IsEmpty()) << "they are looked at once there is a port";
  EXPECT_THAT(world.logLines(), ElementsAre("MIDIOutputPortManager: MIDIClientCreateWithBlock failed with status -12"));
  world.midi().failures() = {.createOutputPort = -13};
  generator->start("Desk", anchorNow());
  EXPECT_EQ(generator->errorMessage(), "CoreMIDI output error -13");
  world.midi().failures() = {};
  generator->start("Desk", anchorNow());
  EXPECT_EQ(generator->errorMessage(), std::nullopt);
  EXPECT_TRUE(generator->isGenerating());
}

TEST_F(MTCOutputGeneratorTest, APortThatIsMissingWithoutAReasonIsUnavailable) {
  class Portless : public RecordingMidiSystem {
    PlatformStatus createOutputPort(MIDIClientRef, std::string_view, MIDIPortRef& port) override {
      port = 0;
      return kPlatformOk;
    }
  } midi;
  MIDIOutputPortManager portless(midi, world.log());
  MTCOutputGenerator other(world.clock(), world.scheduler(), world.log(), midi, portless);
  other.start("Desk", anchorNow());
  EXPECT_EQ(other.errorMessage(), "CoreMIDI output unavailable");
  EXPECT_FALSE(other.isGenerating());
}

TEST_F(MTCOutputGeneratorTest, AnUnknownDestinationIsNamedInTheMessage) {
  generator->start("Lights", anchorNow());
  EXPECT_EQ(generator->errorMessage(), "MIDI destination unavailable: Lights");
  EXPECT_FALSE(generator->isGenerating());
  EXPECT_EQ(generator->currentAnchor(), std::nullopt);
  EXPECT_THAT(generator->availableDestinations, ElementsAre(MIDIDestinationDevice{desk.endpoint(), "Desk"}));
  EXPECT_EQ(world.midi().portCount(), 1u) << "the port stays for the next start";
  EXPECT_THAT(world.logLines(), IsEmpty());
  world.runFor(kAWhile);
  EXPECT_THAT(desk.received(), IsEmpty());
}

TEST_F(MTCOutputGeneratorTest, AStartThatFailsEndsTheStreamThatRan) {
  generator->start("Desk", anchorNow());
  world.runFor(kAWhile);
  generator->start("Lights", anchorNow());
  EXPECT_FALSE(generator->isGenerating());
  EXPECT_TRUE(world.hasLogged("MTCOutput: stopped; latest scheduled quarter-frame belonged to"));
  const std::size_t left = desk.received().size();
  world.runFor(kAWhile);
  EXPECT_EQ(desk.received().size(), left);
}

TEST_F(MTCOutputGeneratorTest, FindsADestinationWithoutRegardToCaseAndBlanks) {
  EXPECT_EQ(heardAt("  dESK\t"), "Desk");
  EXPECT_TRUE(world.hasLogged("MTCOutput: started 25 fps to Desk")) << "the name as the system lists it";
  addDestination(
      " \xC3\x9C"
      "berwachung ");
  EXPECT_EQ(heardAt("\xC3\xBC"
                    "berwachung"),
            " \xC3\x9C"
            "berwachung ");
  EXPECT_EQ(heardAt("Des k"), "");
  EXPECT_EQ(heardAt(""), "");
}

TEST_F(MTCOutputGeneratorTest, PrefersTheExactNameAndThenTheFirst) {
  addDestination("DESK");
  addDestination("desk ");
  addDestination("Desk");
  EXPECT_EQ(heardAt("DESK"), "DESK");
  EXPECT_EQ(heardAt("desk "), "desk ");
  EXPECT_EQ(heardAt("desk"), "Desk");
  generator->start("Desk", anchorNow());
  world.runFor(kAMoment);
  EXPECT_FALSE(desk.received().empty()) << "of two exact ones the first";
  EXPECT_THAT(destinations[3]->received(), IsEmpty());
}

TEST_F(MTCOutputGeneratorTest, AllGeneratorsShareOnePort) {
  const auto second = makeGenerator();
  generator->start("Desk", anchorNow());
  const MIDIPortRef port = ports.outputPort();
  SimulatedMidiDestination& lights = addDestination("Lights");
  second->start("Lights", anchorNow(20));
  world.runFor(kAWhile);
  EXPECT_EQ(ports.outputPort(), port);
  EXPECT_EQ(world.midi().clientCount(), 1u);
  EXPECT_EQ(world.midi().portCount(), 1u);
  EXPECT_GT(desk.received().size(), 90u);
  EXPECT_GT(lights.received().size(), 90u);
}

TEST_F(MTCOutputGeneratorTest, AFailedSendEndsItAndTheNextStartBuildsThePortAnew) {
  generator->start("Desk", anchorNow());
  world.runFor(kAWhile);
  const MIDIPortRef port = ports.outputPort();
  world.clearLog();
  desk.failSends(-19);
  ASSERT_TRUE(world.runUntil([&] { return !generator->isGenerating(); }, 1s));
  EXPECT_EQ(generator->currentAnchor(), std::nullopt);
  EXPECT_EQ(generator->errorMessage(), "MIDI send error -19");
  EXPECT_EQ(ports.outputPort(), 0u);
  EXPECT_THAT(world.logLines(),
              ElementsAre(EndsWith("ms] MIDIOutputPortManager: invalidating output port — MIDI send error -19"),
                          "MTCOutput: MIDI connection failed with status -19; will rebuild on next Start"));
  world.runFor(kAWhile);
  EXPECT_EQ(world.logLines().size(), 2u);
  generator->stop();
  EXPECT_EQ(generator->errorMessage(), "MIDI send error -19") << "until the next start";
  EXPECT_TRUE(world.hasLogged("latest scheduled quarter-frame belonged to")) << "the worker had kept its fields";

  desk.failSends(kPlatformOk);
  generator->start("Desk", anchorNow());
  EXPECT_EQ(generator->errorMessage(), std::nullopt);
  EXPECT_NE(ports.outputPort(), 0u);
  EXPECT_NE(ports.outputPort(), port);
  const std::size_t left = desk.received().size();
  world.runFor(kAWhile);
  EXPECT_GT(desk.received().size(), left + 90);
}

TEST_F(MTCOutputGeneratorTest, ALocateThatFailsAtTheStartIsToldOnce) {
  desk.failSends(-32);
  generator->start("Desk", anchorNow());
  EXPECT_TRUE(generator->isGenerating()) << "the news is on its way";
  world.runFor(kAWhile);
  EXPECT_FALSE(generator->isGenerating());
  EXPECT_EQ(generator->errorMessage(), "MIDI send error -32");
  EXPECT_EQ(world.logCount("MTCOutput: MIDI connection failed with status -32; will rebuild on next Start"), 1u);
}

TEST_F(MTCOutputGeneratorTest, TheFailureOfAnEarlierRunDoesNotEndTheNext) {
  desk.failSends(-32);
  generator->start("Desk", anchorNow());
  desk.failSends(kPlatformOk);
  generator->start("Desk", anchorNow());
  world.runFor(kAWhile);
  EXPECT_TRUE(generator->isGenerating());
  EXPECT_EQ(generator->errorMessage(), std::nullopt);
  EXPECT_GT(desk.received().size(), 90u);
}

TEST_F(MTCOutputGeneratorTest, AnotherGeneratorsFailureTakesThePortFromARunningOne) {
  SimulatedMidiDestination& lights = addDestination("Lights");
  const auto second = makeGenerator();
  generator->start("Desk", anchorNow());
  second->start("Lights", anchorNow());
  world.runFor(kAWhile);
  lights.failSends(-19);
  world.runFor(kAWhile);
  EXPECT_EQ(second->errorMessage(), "MIDI send error -19");
  EXPECT_THAT(generator->errorMessage().value_or(""), testing::StartsWith("MIDI send error -"))
      << "it is not told, its own next send fails";
  generator->start("Desk", anchorNow());
  world.runFor(kAWhile);
  EXPECT_TRUE(generator->isGenerating());
}

TEST_F(MTCOutputGeneratorTest, ItsEndEndsTheStream) {
  generator->start("Desk", anchorNow());
  world.runFor(kAWhile);
  const std::size_t left = desk.received().size();
  generator.reset();
  EXPECT_THAT(desk.waiting(), IsEmpty());
  world.runFor(kAWhile);
  EXPECT_EQ(desk.received().size(), left);
}

TEST_F(MTCOutputGeneratorTest, AFailureThatComesAfterItsEndReachesNobody) {
  desk.failSends(-32);
  generator->start("Desk", anchorNow());
  generator.reset();
  world.runFor(kAWhile);
  EXPECT_NE(ports.outputPort(), 0u);
}

TEST_F(MTCOutputGeneratorTest, FollowsADestinationByNameAtTheNextStart) {
  generator->start("Desk", anchorNow());
  world.runFor(kAWhile);
  world.midi().unplug(desk);
  world.runFor(kAWhile);
  EXPECT_FALSE(generator->isGenerating());
  generator->start("Desk", anchorNow());
  EXPECT_EQ(generator->errorMessage(), "MIDI destination unavailable: Desk");
  world.midi().plugIn(desk);
  generator->start("Desk", anchorNow());
  EXPECT_TRUE(generator->isGenerating());
}

}  // namespace
}  // namespace tallyrig
