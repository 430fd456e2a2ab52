#include "ltc/LTCOutputRenderer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

#include "platform/simulated/SimulatedClock.h"

namespace tallyrig {
namespace {

using testing::Each;

/// A renderer on channel 1, whose ring holds the numbers 1, 2, 3, ...
class LTCOutputRendererTest : public testing::Test {
 protected:
  void fill(std::int64_t count) {
    std::vector<float> samples;
    for (std::int64_t i = 0; i < count; ++i) samples.push_back(static_cast<float>(++written));
    renderer.ring().write(samples);
  }

  /// Runs a cycle on two mono buffers and returns what stands in the second.
  std::vector<float> cycle(std::int64_t frames, bool clear = true, AudioTimeStamp time = {{5000}, true}) {
    left.assign(static_cast<std::size_t>(frames), 0.5F);
    right.assign(static_cast<std::size_t>(frames), 0.5F);
    const auto bytes = static_cast<std::uint32_t>(frames * static_cast<std::int64_t>(sizeof(float)));
    std::vector<AudioBuffer> buffers{{1, bytes, left.data()}, {1, bytes, right.data()}};
    renderer.render(buffers, time, clear);
    return right;
  }

  SimulatedClock clock{{}, std::chrono::nanoseconds{1'000'000'000}};
  LTCOutputRenderer renderer{1, 192'000, clock};
  std::vector<float> left;
  std::vector<float> right;
  int written = 0;
};

TEST_F(LTCOutputRendererTest, PlaysTheRingOnItsChannelAlone) {
  fill(16);
  EXPECT_THAT(cycle(4), testing::ElementsAre(1, 2, 3, 4));
  EXPECT_THAT(left, Each(0.0F));
  EXPECT_THAT(cycle(4, false), testing::ElementsAre(5, 6, 7, 8));
  EXPECT_THAT(left, Each(0.5F)) << "in a shared session the others' samples stand";
  EXPECT_EQ(renderer.renderedSampleOffset(), 8);
  EXPECT_FALSE(renderer.takeUnderrun());
}

TEST_F(LTCOutputRendererTest, WritesOneLaneOfAnInterleavedBuffer) {
  fill(8);
  std::vector<float> data(12, 0.25F);
  AudioBuffer buffer{3, static_cast<std::uint32_t>(data.size() * sizeof(float)), data.data()};
  renderer.render({&buffer, 1}, {}, false);
  EXPECT_THAT(data, testing::ElementsAre(0.25F, 1, 0.25F, 0.25F, 2, 0.25F, 0.25F, 3, 0.25F, 0.25F, 4, 0.25F));
}

TEST_F(LTCOutputRendererTest, ACycleThatIsTooLongMovesNothing) {
  fill(100);
  EXPECT_THAT(cycle(8193), Each(0.5F));
  EXPECT_EQ(renderer.renderedSampleOffset(), 0);
  EXPECT_EQ(renderer.ring().availableSamples(), 100);
  EXPECT_FALSE(renderer.takeUnderrun());
}

TEST_F(LTCOutputRendererTest, ACycleOfTheLargestSizeIsPlayed) {
  fill(8192);
  EXPECT_EQ(cycle(8192).back(), 8192.0F);
}

TEST_F(LTCOutputRendererTest, NoBufferOrAnEmptyOneMovesNothing) {
  renderer.render({}, {}, true);
  AudioBuffer tiny{2, 4, nullptr};
  renderer.render({&tiny, 1}, {}, true);
  EXPECT_EQ(renderer.renderedSampleOffset(), 0);
}

TEST_F(LTCOutputRendererTest, AChannelBeyondTheDeviceRunsOnUnheard) {
  LTCOutputRenderer beyond(2, 192'000, clock);
  std::vector<float> samples(8, 1.0F);
  beyond.ring().write(samples);
  std::vector<float> data(4, 0.5F);
  AudioBuffer buffer{1, 16, data.data()};
  beyond.render({&buffer, 1}, {}, true);
  EXPECT_THAT(data, Each(0.0F));
  EXPECT_EQ(beyond.renderedSampleOffset(), 4);
}

TEST_F(LTCOutputRendererTest, AnUnderrunIsFilledWithSilenceAndReportedOnce) {
  fill(3);
  EXPECT_THAT(cycle(5), testing::ElementsAre(1, 2, 3, 0, 0));
  EXPECT_TRUE(renderer.takeUnderrun());
  EXPECT_FALSE(renderer.takeUnderrun());
  EXPECT_EQ(renderer.renderedSampleOffset(), 5) << "positions count what the device took";
}

TEST_F(LTCOutputRendererTest, AStopFallsOnItsSample) {
  fill(100);
  renderer.requestStopAt(6);
  EXPECT_THAT(cycle(4), testing::ElementsAre(1, 2, 3, 4));
  EXPECT_THAT(cycle(4), testing::ElementsAre(5, 6, 0, 0));
  EXPECT_THAT(cycle(4), Each(0.0F));
}

TEST_F(LTCOutputRendererTest, AStopAtACyclesEdgeCutsNothing) {
  fill(100);
  renderer.requestStopAt(4);
  EXPECT_THAT(cycle(4), testing::ElementsAre(1, 2, 3, 4));
  EXPECT_THAT(cycle(4), Each(0.0F));
}

TEST_F(LTCOutputRendererTest, TellsTheInstantOfAnySample) {
  fill(100);
  EXPECT_EQ(renderer.hostTimeOf(0, 48000), clock.now()) << "before the first cycle there is only the clock";
  cycle(4, true, {{1'000'000}, true});
  EXPECT_EQ(renderer.hostTimeOf(0, 48000).ticks, 1'000'000U);
  cycle(4, true, {{2'000'000}, true});
  EXPECT_EQ(renderer.hostTimeOf(4, 48000).ticks, 2'000'000U);
  EXPECT_EQ(renderer.hostTimeOf(7, 48000).ticks, 2'000'000U + 62500U);
  EXPECT_EQ(renderer.hostTimeOf(1, 48000).ticks, 2'000'000U - 62500U);
  EXPECT_EQ(renderer.hostTimeOf(-1000, 48000).ticks, 0U) << "never before instant 0";
}

TEST_F(LTCOutputRendererTest, WithoutAHostTimeTheClockServes) {
  cycle(4, true, {{77}, false});
  EXPECT_EQ(renderer.hostTimeOf(0, 48000), clock.now());
}

}  // namespace
}  // namespace tallyrig
