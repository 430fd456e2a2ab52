#include "platform/simulated/OutputHistory.h"

#include <numeric>

namespace tallyrig {
namespace {

std::vector<float> read(const OutputHistory& history, std::int64_t position, std::size_t count) {
  std::vector<float> samples(count, -1.0f);
  history.read(position, samples);
  return samples;
}

TEST(OutputHistory, IsSilentWhereNothingWasWritten) {
  OutputHistory history;
  history.write(10, std::vector<float>{1, 2, 3});
  history.write(15, std::vector<float>{4});
  EXPECT_THAT(read(history, 8, 10), testing::ElementsAre(0, 0, 1, 2, 3, 0, 0, 4, 0, 0));
  EXPECT_THAT(read(history, -5, 3), testing::ElementsAre(0, 0, 0));
  EXPECT_THAT(read(history, 1000, 2), testing::ElementsAre(0, 0));
  EXPECT_EQ(history.end(), 16);
}

TEST(OutputHistory, KeepsTheNewestAcrossTheWrap) {
  OutputHistory history;
  std::vector<float> block(1000);
  for (int i = 0; i < 200; ++i) {
    std::iota(block.begin(), block.end(), static_cast<float>(i * 1000));
    history.write(i * 1000, block);
  }
  const auto kept = read(history, 200'000 - 65'536, 65'536);
  for (std::size_t i = 0; i < kept.size(); ++i) ASSERT_EQ(kept[i], static_cast<float>(200'000 - 65'536 + i));
  EXPECT_EQ(read(history, 200'000 - 65'537, 1)[0], 0);
}

TEST(OutputHistory, AGapLongerThanItsMemoryLeavesSilence) {
  OutputHistory history;
  history.write(0, std::vector<float>(65'536, 1.0f));
  history.write(10'000'000, std::vector<float>{2.0f});
  EXPECT_THAT(read(history, 9'999'998, 3), testing::ElementsAre(0, 0, 2));
  EXPECT_EQ(read(history, 10'000'001 - 65'536, 1)[0], 0);
}

TEST(OutputHistory, GrowsWithoutLosingWhatItHas) {
  OutputHistory history;
  for (int i = 0; i < 100; ++i) history.write(i * 1000, std::vector<float>(1000, static_cast<float>(i)));
  history.reserve(200'000);
  EXPECT_EQ(read(history, 99'999, 1)[0], 99);
  EXPECT_EQ(read(history, 40'000, 1)[0], 40);
  for (int i = 100; i < 250; ++i) history.write(i * 1000, std::vector<float>(1000, static_cast<float>(i)));
  EXPECT_EQ(read(history, 60'000, 1)[0], 60);
}

}  // namespace
}  // namespace tallyrig
