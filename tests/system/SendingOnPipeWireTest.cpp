// What cards send over a real sound server: each sample of it, and the instants that they give for it.

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "ltc/LTCTimecodeDecoder.h"
#include "support/EncodedLTC.h"
#include "system/EngineOnPipeWire.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;

constexpr double kRate = 48000;
constexpr std::int64_t kFrames = 60;
/// One sample, and what rounding two stamps to nanoseconds can add.
constexpr double kOneSample = 1.0001;

struct Samples {
  double least = 0;
  double most = 0;
};

/// Where libltc sees a frame end, from its true end: a constant where half a bit is a whole number of samples, a
/// narrow range elsewhere.
Samples decodersOwnOffset(MTCFrameRate rate) {
  const Timecode start{1, 0, 0, 0, rate};
  const SystemHostClock clock;
  LTCTimecodeDecoder decoder(clock);
  std::map<std::string, std::int64_t> seen;
  decoder.onTimecode = [&](const auto& frame) { seen[frame.timecode.text()] = frame.endSamplePosition; };
  const auto samples = encodedLTC(start, kFrames + 1, kRate);
  for (std::size_t at = 0; at + 64 <= samples.size(); at += 64) {
    decoder.process(std::span(samples).subspan(at, 64), std::nullopt, kRate);
  }
  Samples offset{.least = kRate, .most = -kRate};
  for (std::int64_t frame = 2; frame < kFrames; ++frame) {
    const auto end = static_cast<double>(encodedLTC(start, frame + 1, kRate).size());
    const double apart = static_cast<double>(seen.at(start.advanced(frame).text())) - end;
    offset = {std::min(offset.least, apart), std::max(offset.most, apart)};
  }
  return offset;
}

class SendingOnPipeWire : public testing::TestWithParam<MTCFrameRate> {};

INSTANTIATE_TEST_SUITE_P(EachRate, SendingOnPipeWire,
                         testing::Values(MTCFrameRate::fps24, MTCFrameRate::fps25, MTCFrameRate::fps2997,
                                         MTCFrameRate::fps30));

TEST_P(SendingOnPipeWire, TheWireCarriesEachSampleFromTheFirstFrameToTheLastAndThenSilence) {
  EngineOnPipeWire engine(2, kQuantum);
  std::string failure = "no attempt";
  for (int attempt = 0; attempt < kAttempts && !failure.empty(); ++attempt) {
    const auto card = engine.generator(0, GetParam());
    const auto recording = engine.rig().record("duplex", {0}, static_cast<std::size_t>(4 * kRate));
    ASSERT_TRUE(engine.runUntil([&] { return recording->startNanos() != 0; }));

    const HostTime pressed = engine.clock().now();
    card->toggleGenerator();
    ASSERT_TRUE(card->isGeneratorRunning());
    const Timecode start = *card->currentTimecode();
    ASSERT_TRUE(engine.runUntil([&] { return *start.signedFrameDistance(*card->currentTimecode()) >= kFrames; }));
    card->toggleGenerator();
    ASSERT_TRUE(engine.runUntil([&] { return !card->isGeneratorRunning(); }));
    const auto sent = *start.signedFrameDistance(*card->currentTimecode()) + 1;
    recording->waitUntilDone(10s);

    const auto& heard = recording->samples().front();
    const auto expected = encodedLTC(start, sent, kRate);
    const auto first = std::ranges::find_if(heard, [](float sample) { return sample != 0; });
    const auto sound = std::ranges::find_if(expected, [](float sample) { return sample != 0; });
    const auto lead = std::min(sound - expected.begin(), first - heard.begin());
    const auto onset = first - lead;
    failure.clear();
    if (recording->gaps() > 0) {
      failure = "the server left out cycles of the recording";
    } else if (heard.end() - onset < static_cast<std::ptrdiff_t>(expected.size())) {
      failure = "the recording ends before the code";
    } else if (const auto differs = std::ranges::mismatch(expected, std::ranges::subrange(onset, heard.end()));
               differs.in1 != expected.end()) {
      failure = "sample " + std::to_string(differs.in1 - expected.begin()) + " of " + std::to_string(expected.size()) +
                " is not the encoder's";
    } else if (std::any_of(differs.in2, heard.end(), [](float sample) { return sample != 0; })) {
      failure = "no silence after the last frame";
    }
    const double latency =
        static_cast<double>(static_cast<std::int64_t>(recording->startNanos() - pressed.ticks)) / 1e6 +
        static_cast<double>(onset - heard.begin()) / kRate * 1e3;
    std::printf("start to first sample: %.1f ms; %lld frames sent; %s\n", latency, static_cast<long long>(sent),
                failure.empty() ? "every sample as encoded" : failure.c_str());
  }
  EXPECT_EQ(failure, "");
}

TEST_P(SendingOnPipeWire, AReaderOnTheLoopGivesEachFrameTheSendersInstant) {
  EngineOnPipeWire engine(2, kQuantum);
  const Samples own = decodersOwnOffset(GetParam());
  int matched = 0;
  Samples apart;
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    const auto sender = engine.generator(1, GetParam());
    const auto receiver = engine.reader(1);
    std::map<std::string, HostTime> sent;
    std::map<std::string, HostTime> received;
    const auto note = [](const ReaderInstance& card, std::map<std::string, HostTime>& seen) {
      if (card.liveAnchor()) seen.emplace(card.liveAnchor()->timecode.text(), card.liveAnchor()->hostTime);
    };
    QObject::connect(sender.get(), &ReaderInstance::timecodeChanged, [&] {
      if (sender->isGeneratorRunning()) note(*sender, sent);
    });
    QObject::connect(receiver.get(), &ReaderInstance::timecodeChanged, [&] { note(*receiver, received); });
    sender->toggleGenerator();
    ASSERT_TRUE(sender->isGeneratorRunning());
    ASSERT_TRUE(engine.runUntil([&] { return received.size() > kFrames; }));
    sender->stopMonitoring();
    receiver->stopMonitoring();

    matched = 0;
    apart = {.least = kRate, .most = -kRate};
    for (const auto& [timecode, instant] : received) {
      const auto there = sent.find(timecode);
      if (there == sent.end()) continue;
      ++matched;
      const auto nanos = static_cast<double>(static_cast<std::int64_t>(instant.ticks - there->second.ticks));
      apart = {std::min(apart.least, nanos / 1e9 * kRate), std::max(apart.most, nanos / 1e9 * kRate)};
    }
    std::printf("%d frames seen on both sides, %.3f to %.3f samples apart; the decoder's own %.0f to %.0f\n", matched,
                apart.least, apart.most, own.least, own.most);
    if (matched > kFrames / 2 && apart.least >= own.least - kOneSample && apart.most <= own.most + kOneSample) break;
  }
  EXPECT_GT(matched, kFrames / 2);
  EXPECT_GE(apart.least, own.least - kOneSample) << "samples";
  EXPECT_LE(apart.most, own.most + kOneSample) << "samples";
}

TEST(JamOnPipeWire, TheOutputOutlivesItsInputAndTakesItUpAgain) {
  EngineOnPipeWire engine(4, kQuantum);
  const auto source = engine.generator(0, MTCFrameRate::fps25);
  const auto card = engine.reader(0, 1);
  const auto listener = engine.reader(1);
  source->toggleGenerator();
  ASSERT_TRUE(engine.runUntil([&] { return card->isReceiving(); }));
  card->enableJam();
  ASSERT_TRUE(engine.runUntil([&] { return card->jamSyncState() == JamSyncState::locked; }));
  ASSERT_TRUE(engine.runUntil([&] { return listener->isReceiving(); }));

  source->toggleGenerator();
  ASSERT_TRUE(engine.runUntil([&] { return card->jamSyncState() == JamSyncState::freewheeling; }));
  const Timecode lost = *card->currentTimecode();
  ASSERT_TRUE(engine.runUntil([&] { return *lost.signedFrameDistance(*listener->currentTimecode()) > 50; }))
      << "two seconds later it is still heard";
  EXPECT_TRUE(engine.runUntil([&] { return listener->isReceiving(); }));

  source->toggleGenerator();
  ASSERT_TRUE(engine.runUntil([&] { return card->jamSyncState() == JamSyncState::locked; }));
  ASSERT_TRUE(engine.runUntil([&] {
    const auto heard = listener->currentTimecode()->signedFrameDistance(*source->currentTimecode());
    return heard && std::abs(*heard) <= 2;
  })) << "the output follows the input's new time";
  card->disableJam();
  EXPECT_FALSE(card->isJammed());
}

}  // namespace
}  // namespace tallyrig
