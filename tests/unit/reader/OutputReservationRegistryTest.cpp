#include "reader/OutputReservationRegistry.h"

#include <gtest/gtest.h>

namespace tallyrig {
namespace {

const QUuid kCardA = QUuid::createUuid();
const QUuid kCardB = QUuid::createUuid();

TEST(OutputReservationRegistry, AChannelBelongsToOneCard) {
  OutputReservationRegistry registry;
  EXPECT_TRUE(registry.reserve(AudioOutputReservation{5, 0}, kCardA));
  EXPECT_FALSE(registry.reserve(AudioOutputReservation{5, 0}, kCardB));
  EXPECT_TRUE(registry.reserve(AudioOutputReservation{5, 1}, kCardB));
}

TEST(OutputReservationRegistry, ARefusalLeavesTheRequestersEarlierReservation) {
  OutputReservationRegistry registry;
  registry.reserve(AudioOutputReservation{5, 0}, kCardA);
  registry.reserve(AudioOutputReservation{5, 1}, kCardB);
  EXPECT_FALSE(registry.reserve(AudioOutputReservation{5, 0}, kCardB));
  EXPECT_EQ(registry.owners().at(AudioOutputReservation{5, 1}), kCardB);
  EXPECT_EQ(registry.owners().at(AudioOutputReservation{5, 0}), kCardA);
}

TEST(OutputReservationRegistry, ReservingAgainSucceeds) {
  OutputReservationRegistry registry;
  EXPECT_TRUE(registry.reserve(MIDIOutputReservation{"Port"}, kCardA));
  EXPECT_TRUE(registry.reserve(MIDIOutputReservation{"Port"}, kCardA));
  EXPECT_EQ(registry.owners().size(), 1U);
}

TEST(OutputReservationRegistry, MovingNeedsNoRelease) {
  OutputReservationRegistry registry;
  registry.reserve(AudioOutputReservation{5, 0}, kCardA);
  EXPECT_TRUE(registry.reserve(MIDIOutputReservation{"Port"}, kCardA));
  EXPECT_EQ(registry.owners().size(), 1U);
  EXPECT_TRUE(registry.reserve(AudioOutputReservation{5, 0}, kCardB));
}

TEST(OutputReservationRegistry, NamesThatDifferInCaseAreDifferent) {
  OutputReservationRegistry registry;
  EXPECT_TRUE(registry.reserve(MIDIOutputReservation{"Port"}, kCardA));
  EXPECT_TRUE(registry.reserve(MIDIOutputReservation{"PORT"}, kCardB));
}

TEST(OutputReservationRegistry, AReleaseFreesTheOutputForOthersAlone) {
  OutputReservationRegistry registry;
  registry.reserve(AudioOutputReservation{5, 0}, kCardA);
  registry.reserve(AudioOutputReservation{5, 1}, kCardB);
  registry.releaseAll(kCardA);
  EXPECT_FALSE(registry.owners().contains(AudioOutputReservation{5, 0}));
  EXPECT_TRUE(registry.owners().contains(AudioOutputReservation{5, 1}));
  EXPECT_TRUE(registry.reserve(AudioOutputReservation{5, 0}, kCardB));
}

}  // namespace
}  // namespace tallyrig
