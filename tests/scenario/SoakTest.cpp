// Minutes of a disturbed rig; `bench/run soak` runs the same for hours.

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <string>

#include "support/SoakRig.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;

class Soak : public testing::TestWithParam<std::uint64_t> {};

TEST_P(Soak, NothingThatMustHoldIsBroken) {
  SCOPED_TRACE("seed " + std::to_string(GetParam()));
  SoakRig rig(GetParam());
  rig.run(2min);
  EXPECT_EQ(rig.failure().value_or(""), "");
  EXPECT_GT(rig.counts().timesCompared, 100);
  EXPECT_GT(rig.counts().disturbances, 2);
  EXPECT_GT(rig.counts().framesHeard, 2000);
}

INSTANTIATE_TEST_SUITE_P(Seeds, Soak, testing::Range<std::uint64_t>(1, 5));

}  // namespace
}  // namespace tallyrig
