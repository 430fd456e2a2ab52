#include "platform/Lifetime.h"

#include <optional>

namespace tallyrig {
namespace {

TEST(Lifetime, AGuardedCallbackRunsWithItsArgumentsWhileTheObjectLives) {
  const Lifetime lifetime;
  int sum = 0;
  const auto callback = lifetime.guard([&](int a, int b) { sum += a * b; });
  callback(3, 4);
  callback(1, 2);
  EXPECT_EQ(sum, 14);
}

TEST(Lifetime, AGuardedCallbackDoesNothingOnceTheObjectIsGone) {
  std::optional<Lifetime> lifetime(std::in_place);
  int runs = 0;
  const auto callback = lifetime->guard([&] { ++runs; });
  lifetime.reset();
  callback();
  EXPECT_EQ(runs, 0);
}

}  // namespace
}  // namespace tallyrig
