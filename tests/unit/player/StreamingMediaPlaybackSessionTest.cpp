#include "player/StreamingMediaPlaybackSession.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "platform/RealtimeScope.h"
#include "support/SimulatedMediaFiles.h"

namespace tallyrig {
namespace {

using testing::Each;
using testing::ElementsAre;

/// A session of a file with three channels, and the buffers of a device with four mono outputs.
class StreamingMediaPlaybackSessionTest : public testing::Test {
 protected:
  void make(std::vector<int> assignments, int outputChannelCount = 4) {
    session = std::make_shared<StreamingMediaPlaybackSession>(StreamingMediaPlaybackSession::Settings{
        {"clip.wav", 48000, 3, 10}, std::move(assignments), outputChannelCount, 256, 48000});
    session->setRendering(true);
  }

  /// Frame f of channel c is f + 1 + 100 c.
  void fill(int frames) {
    std::vector<float> samples;
    for (int frame = 0; frame < frames; ++frame) {
      for (int channel = 0; channel < 3; ++channel) samples.push_back(static_cast<float>(frame + 1 + 100 * channel));
    }
    ASSERT_EQ(session->ring().write(samples.data(), frames), frames);
  }

  void cycle(std::size_t frames) {
    std::vector<AudioBuffer> buffers;
    for (auto& output : outputs) {
      output.assign(frames, 0.5F);
      buffers.push_back({1, static_cast<std::uint32_t>(frames * sizeof(float)), output.data()});
    }
    const RealtimeScope scope;
    session->render(buffers);
  }

  std::shared_ptr<StreamingMediaPlaybackSession> session;
  std::vector<std::vector<float>> outputs{4};
};

TEST_F(StreamingMediaPlaybackSessionTest, PutsEachChannelOnItsOutput) {
  make({3, 0, 1});
  fill(3);
  cycle(3);
  EXPECT_THAT(outputs[3], ElementsAre(1, 2, 3));
  EXPECT_THAT(outputs[0], ElementsAre(101, 102, 103));
  EXPECT_THAT(outputs[1], ElementsAre(201, 202, 203));
  EXPECT_THAT(outputs[2], Each(0.0F));
  EXPECT_EQ(session->renderedFrames(), 3);
}

TEST_F(StreamingMediaPlaybackSessionTest, SumsWhatSharesAnOutput) {
  make({0, 0, -1});
  fill(2);
  cycle(2);
  EXPECT_THAT(outputs[0], ElementsAre(102, 104));
}

TEST_F(StreamingMediaPlaybackSessionTest, LeavesChannelsWithoutAnAssignmentOut) {
  make({-1, 2});
  fill(2);
  cycle(2);
  EXPECT_THAT(outputs[2], ElementsAre(101, 102));
  EXPECT_THAT(outputs[0], Each(0.0F));
  EXPECT_THAT(outputs[1], Each(0.0F));
  EXPECT_THAT(outputs[3], Each(0.0F));
}

TEST_F(StreamingMediaPlaybackSessionTest, IgnoresAssignmentsOfChannelsThatTheFileHasNot) {
  make({0, 1, 2, 3, 3});
  fill(2);
  cycle(2);
  EXPECT_THAT(outputs[3], Each(0.0F));
}

TEST_F(StreamingMediaPlaybackSessionTest, AnOutputOutsideTheFormatIsSilent) {
  make({1, 2, 7}, 2);
  fill(2);
  cycle(2);
  EXPECT_THAT(outputs[1], ElementsAre(1, 2));
  EXPECT_THAT(outputs[2], Each(0.0F));
}

TEST_F(StreamingMediaPlaybackSessionTest, ACycleBeyondTheCapacityIsSilentAndTakesNothing) {
  make({0, 1, 2});
  fill(1100);
  cycle(1025);
  EXPECT_THAT(outputs[0], Each(0.0F)) << "1024 frames are the least capacity";
  cycle(1024);
  EXPECT_EQ(outputs[0].front(), 1.0F);
  EXPECT_EQ(outputs[0].back(), 1024.0F);
}

TEST_F(StreamingMediaPlaybackSessionTest, AnUnderrunPlaysWhatThereIsAndThenSilence) {
  make({0, 1, 2});
  fill(2);
  cycle(4);
  EXPECT_THAT(outputs[0], ElementsAre(1, 2, 0, 0));
  cycle(4);
  EXPECT_THAT(outputs[0], Each(0.0F));
  EXPECT_EQ(session->renderedFrames(), 2);
}

TEST_F(StreamingMediaPlaybackSessionTest, APauseIsSilentAndKeepsTheRing) {
  make({0, 1, 2});
  fill(4);
  session->setRendering(false);
  cycle(2);
  EXPECT_THAT(outputs[0], Each(0.0F));
  session->setRendering(true);
  cycle(2);
  EXPECT_THAT(outputs[0], ElementsAre(1, 2));
}

TEST_F(StreamingMediaPlaybackSessionTest, PassesOverWhatItIsToldTo) {
  make({0, 1, 2});
  fill(2000);
  session->skip(1500);
  cycle(2);
  EXPECT_THAT(outputs[0], ElementsAre(1501, 1502));
  EXPECT_EQ(session->renderedFrames(), 1502);
  cycle(2);
  EXPECT_THAT(outputs[0], ElementsAre(1503, 1504));
}

TEST_F(StreamingMediaPlaybackSessionTest, PassesOverWhatIsNotThereYetAsItComes) {
  make({0, 1, 2});
  fill(10);
  session->skip(12);
  cycle(4);
  EXPECT_THAT(outputs[0], Each(0.0F));
  fill(10);
  cycle(2);
  EXPECT_THAT(outputs[0], ElementsAre(7, 8)) << "the silent cycle is passed over as well";
}

TEST_F(StreamingMediaPlaybackSessionTest, ALongWayTakesSeveralCycles) {
  make({0, 1, 2});
  fill(8000);
  session->skip(5000);
  cycle(10);
  EXPECT_THAT(outputs[0], Each(0.0F)) << "2048 frames a cycle";
  cycle(10);
  EXPECT_THAT(outputs[0], Each(0.0F));
  cycle(10);
  EXPECT_EQ(outputs[0].front(), 5021.0F);
}

TEST_F(StreamingMediaPlaybackSessionTest, FindsOutputsInBuffersOfSeveralChannels) {
  make({0, 2, 3});
  fill(2);
  std::vector<float> pair(4, 0.5F);
  std::vector<float> alone(2, 0.5F);
  std::vector<AudioBuffer> buffers{{0, 8, nullptr}, {2, 16, pair.data()}, {1, 8, alone.data()}};
  // The cycle's length stands in the first buffer, also where that says no channel: it counts as one.
  session->render(buffers);
  EXPECT_THAT(pair, ElementsAre(0, 101, 0, 102)) << "output 0 has no data, output 2 is the pair's second";
  EXPECT_THAT(alone, ElementsAre(201, 202));
}

TEST_F(StreamingMediaPlaybackSessionTest, WithoutBuffersNothingIsTaken) {
  make({0});
  fill(2);
  session->render({});
  EXPECT_EQ(session->ring().availableFrames(), 2);
}

TEST(StreamingMediaPlaybackSessionRing, HoldsFourSecondsWithinItsBounds) {
  const auto capacity = StreamingMediaPlaybackSession::ringCapacity;
  EXPECT_EQ(capacity(44100, 8), 176400);
  EXPECT_EQ(capacity(44100.9, 1), 176403);
  EXPECT_EQ(capacity(2000, 2), 8192) << "at least";
  EXPECT_EQ(capacity(192000, 64), 131072) << "32 MiB";
  EXPECT_EQ(capacity(48000, 1024), 8192);
  EXPECT_EQ(capacity(48000, 1025), 8192) << "above 1024 channels";
}

class RecordingReader : public AudioReader {
 public:
  AudioFormat format() const override { return {}; }
  std::error_code seek(std::int64_t) override { return {}; }
  std::error_code read(std::span<float>, std::size_t& frames) override { return frames = 0, std::error_code(); }
  void cancel() noexcept override { ++cancels; }
  int cancels = 0;
};

TEST_F(StreamingMediaPlaybackSessionTest, CancellingEndsTheReaderAndEverythingElse) {
  make({0});
  const auto reader = std::make_shared<RecordingReader>();
  session->setWantsPlayback(true);
  EXPECT_TRUE(session->registerReader(reader));
  session->cancel();
  EXPECT_EQ(reader->cancels, 1);
  EXPECT_TRUE(session->isCancelled());
  EXPECT_FALSE(session->wantsPlayback());
  EXPECT_FALSE(session->isRendering());
  session->cancel();
  EXPECT_EQ(reader->cancels, 1) << "it is not the session's any more";
}

TEST_F(StreamingMediaPlaybackSessionTest, AReaderThatComesAfterTheCancelIsEndedToo) {
  make({0});
  session->cancel();
  const auto reader = std::make_shared<RecordingReader>();
  EXPECT_FALSE(session->registerReader(reader));
  EXPECT_EQ(reader->cancels, 1);
}

TEST_F(StreamingMediaPlaybackSessionTest, ForgetsOnlyTheReaderItIsTold) {
  make({0});
  const auto first = std::make_shared<RecordingReader>();
  const auto second = std::make_shared<RecordingReader>();
  session->registerReader(first);
  session->registerReader(second);
  session->clearReader(first);
  session->cancel();
  EXPECT_EQ(first->cancels, 0);
  EXPECT_EQ(second->cancels, 1);
}

TEST_F(StreamingMediaPlaybackSessionTest, ADecoderIsClaimedOnce) {
  make({0});
  EXPECT_TRUE(session->claimDecoder());
  EXPECT_FALSE(session->claimDecoder());
}

}  // namespace
}  // namespace tallyrig
