#include <gmock/gmock.h>

#include <cerrno>
#include <optional>
#include <set>
#include <utility>
#include <vector>

#include "system/PipeWireFixture.h"

namespace tallyrig {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// With and without a session manager.
class PipeWireDevices : public PipeWireFixture, public testing::WithParamInterface<bool> {
 protected:
  void SetUp() override { startRig({.sessionManager = GetParam()}); }
};

INSTANTIATE_TEST_SUITE_P(SessionManager, PipeWireDevices, testing::Bool());

TEST_P(PipeWireDevices, ListsEachKindWithItsChannels) {
  addDevice(Kind::kDuplex, "duplex", 8);
  addDevice(Kind::kSink, "sink", 2);
  addDevice(Kind::kSource, "source", 4);
  addDevice(Kind::kDuplex, "large", 64);
  openSystem();

  const auto duplex = listed("duplex");
  EXPECT_THAT(duplex.inputGroups, ElementsAre(8));
  EXPECT_THAT(duplex.outputGroups, ElementsAre(8));
  const auto sink = listed("sink");
  EXPECT_THAT(sink.inputGroups, IsEmpty());
  EXPECT_THAT(sink.outputGroups, ElementsAre(2));
  const auto source = listed("source");
  EXPECT_THAT(source.inputGroups, ElementsAre(4));
  EXPECT_THAT(source.outputGroups, IsEmpty());
  const auto large = listed("large");
  EXPECT_THAT(large.inputGroups, ElementsAre(64));
  EXPECT_THAT(large.outputGroups, ElementsAre(64));
  EXPECT_THAT(system_->devices(), ElementsAre(duplex, sink, source, large));
}

TEST_P(PipeWireDevices, TheFirstListIsCompleteWhenTheSystemStands) {
  addDevice(Kind::kDuplex, "duplex", 8);
  openSystem();
  EXPECT_TRUE(system_->isAvailable());
  EXPECT_EQ(system_->notice(), "");
  EXPECT_TRUE(find("duplex").has_value());
}

TEST_P(PipeWireDevices, TheNodesOfOneCardAreOneDeviceNamedAfterTheCard) {
  const std::string card = std::to_string(rig_->addCard("The interface"));
  addDevice(Kind::kSink, "outputs", 4, {{"device.id", card}});
  addDevice(Kind::kSource, "inputs", 6, {{"device.id", card}});
  openSystem();
  const auto device = listed("interface");
  EXPECT_THAT(device.inputGroups, ElementsAre(6));
  EXPECT_THAT(device.outputGroups, ElementsAre(4));
  EXPECT_EQ(system_->devices().size(), 1U);
}

TEST_P(PipeWireDevices, EachNoticeBringsAnotherListOrAnotherDefaultAndNoHalfDevice) {
  openSystem();
  using Listing = std::pair<std::vector<AudioDeviceDescription>, std::optional<AudioDeviceID>>;
  const auto listing = [&] { return Listing{system_->devices(), system_->defaultOutput()}; };
  std::vector<Listing> listings = {listing()};
  const auto subscription = system_->observeDevices([&] { listings.push_back(listing()); });
  const auto noticed = [&](std::size_t devices) {
    return queue_.runUntil([&] { return listings.back().first.size() == devices; });
  };
  // Each notice is waited for: changes that follow each other faster share one.
  addDevice(Kind::kDuplex, "large", 64);
  listed("large");
  ASSERT_TRUE(noticed(1));
  addDevice(Kind::kSink, "sink", 2);
  listed("sink");
  ASSERT_TRUE(noticed(2));
  rig_->remove("large");
  ASSERT_TRUE(vanishes("large"));
  ASSERT_TRUE(noticed(1));

  int changes = 0;
  for (std::size_t index = 1; index < listings.size(); ++index) {
    EXPECT_NE(listings[index], listings[index - 1]);
    if (listings[index].first != listings[index - 1].first) ++changes;
    for (const auto& device : listings[index].first) {
      EXPECT_THAT(device.outputGroups, device.name == "The large" ? ElementsAre(64) : ElementsAre(2));
    }
  }
  EXPECT_EQ(changes, 3);
}

TEST_P(PipeWireDevices, ProgramsAndOurOwnFiltersAreNeitherListedNorNoticed) {
  addDevice(Kind::kDuplex, "duplex", 2);
  openSystem();
  listed("duplex");
  int notices = 0;
  const auto subscription = system_->observeDevices([&] { ++notices; });
  const auto io = openIO("duplex", [](const AudioCycle&) {});
  ASSERT_TRUE(io);
  const auto sound = rig_->play("duplex", {0}, {std::vector<float>(48000, 0.5F)});
  rig_->waitForNode("Tallyrig.duplex", 2, 2);
  sound->waitUntilDone(std::chrono::seconds(10));
  EXPECT_EQ(system_->devices().size(), 1U);
  EXPECT_EQ(notices, 0);
}

TEST_P(PipeWireDevices, ACancelledObserverIsNotTold) {
  openSystem();
  int first = 0;
  int second = 0;
  Subscription one;
  Subscription other;
  one = system_->observeDevices([&] {
    ++first;
    one.reset();
    other.reset();
  });
  other = system_->observeDevices([&] { ++second; });
  addDevice(Kind::kSink, "sink", 2);
  listed("sink");
  ASSERT_TRUE(queue_.runUntil([&] { return first == 1; }));
  rig_->remove("sink");
  ASSERT_TRUE(vanishes("sink"));
  queue_.runUntil([] { return false; }, std::chrono::milliseconds(50));
  EXPECT_EQ(first, 1);
  EXPECT_EQ(second, 0);
}

TEST_P(PipeWireDevices, AReturnedDeviceHasANewNumber) {
  addDevice(Kind::kDuplex, "duplex", 2);
  openSystem();
  const auto before = listed("duplex").id;
  rig_->remove("duplex");
  ASSERT_TRUE(vanishes("duplex"));
  addDevice(Kind::kDuplex, "duplex", 2);
  EXPECT_NE(listed("duplex").id, before);
}

TEST_P(PipeWireDevices, AnUnknownDeviceIsRefused) {
  addDevice(Kind::kDuplex, "duplex", 2);
  openSystem();
  const auto id = listed("duplex").id;
  rig_->remove("duplex");
  ASSERT_TRUE(vanishes("duplex"));
  for (const AudioDeviceID wrong : {id, AudioDeviceID{0}, AudioDeviceID{0xFFFF'FFFF}}) {
    std::unique_ptr<AudioIO> io;
    EXPECT_EQ(system_->createIO(
                  wrong, [](const AudioCycle&) {}, io),
              -ENODEV);
    EXPECT_EQ(io, nullptr);
    double rate = 1.5;
    EXPECT_EQ(system_->nominalSampleRate(wrong, rate), -ENODEV);
    EXPECT_EQ(rate, 1.5);
    EXPECT_FALSE(system_->timing(wrong).bufferFrames.has_value());
  }
}

class PipeWireRates : public PipeWireFixture {};

TEST_F(PipeWireRates, TheRateAndTheCycleAreTheServersOwn) {
  for (const int rate : {44100, 48000, 96000}) {
    startRig({.rate = rate, .quantum = 2048});
    addDevice(Kind::kDuplex, "duplex", 2);
    openSystem();
    const auto id = listed("duplex").id;
    double told = 0;
    EXPECT_EQ(system_->nominalSampleRate(id, told), kPlatformOk);
    EXPECT_EQ(told, rate);
    EXPECT_EQ(system_->timing(id).bufferFrames, 2048U);
    EXPECT_FALSE(system_->timing(id).inputLatency.has_value());

    std::atomic<int> cycles = 0;
    const auto io = openIO("duplex", [&](const AudioCycle&) { ++cycles; });
    ASSERT_EQ(io->start(), kPlatformOk);
    ASSERT_TRUE(queue_.runUntil([&] { return cycles > 10; }));
    EXPECT_EQ(system_->nominalSampleRate(id, told), kPlatformOk);
    EXPECT_EQ(told, rate);
  }
}

TEST_F(PipeWireRates, ADeviceThatRunsAtAnotherRateThanToldIsListedAnewWithTheTrueOne) {
  startRig({.rate = 48000, .otherRates = {44100}});
  addDevice(Kind::kDuplex, "duplex", 2);
  openSystem();
  const auto before = listed("duplex").id;
  auto io = openIO("duplex", [](const AudioCycle&) {});
  ASSERT_EQ(io->start(), kPlatformOk);

  rig_->set("clock.force-rate", "44100");
  ASSERT_TRUE(queue_.runUntil([&] { return find("duplex") && find("duplex")->id != before; }));
  EXPECT_EQ(logged("The duplex runs at 44100 Hz, not at 48000 Hz; it is listed anew"), 1);

  io.reset();
  const auto after = listed("duplex").id;
  double rate = 0;
  EXPECT_EQ(system_->nominalSampleRate(after, rate), kPlatformOk);
  EXPECT_EQ(rate, 44100);
  io = openIO("duplex", [](const AudioCycle&) {});
  ASSERT_EQ(io->start(), kPlatformOk);
  queue_.runUntil([] { return false; }, std::chrono::seconds(1));
  EXPECT_EQ(listed("duplex").id, after);
}

TEST_F(PipeWireRates, ADeviceThatAnotherProgramRunsAtAnotherRateTellsThatRate) {
  startRig({.rate = 48000, .otherRates = {44100}});
  addDevice(Kind::kSink, "sink", 2);
  openSystem();
  const auto id = listed("sink").id;
  double rate = 0;
  EXPECT_EQ(system_->nominalSampleRate(id, rate), kPlatformOk);
  EXPECT_EQ(rate, 48000);

  const auto sound = rig_->play("sink", {0}, {std::vector<float>(441000)}, 44100);
  ASSERT_TRUE(queue_.runUntil([&] { return sound->startNanos() != 0; }));
  EXPECT_EQ(system_->nominalSampleRate(id, rate), kPlatformOk);
  EXPECT_EQ(rate, 44100);
  const auto io = openIO("sink", [](const AudioCycle&) {});
  ASSERT_EQ(io->start(), kPlatformOk);
  queue_.runUntil([] { return false; }, std::chrono::seconds(1));
  EXPECT_EQ(listed("sink").id, id);
  EXPECT_EQ(logged("it is listed anew"), 0);
}

}  // namespace
}  // namespace tallyrig
