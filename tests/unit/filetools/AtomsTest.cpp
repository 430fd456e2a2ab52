#include "filetools/Atoms.h"

#include "filetools/MovieFault.h"
#include "support/EditedMovie.h"
#include "support/TestMovie.h"

namespace tallyrig {
namespace {

AtomBytes bytesOf(const std::string& text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

std::error_code listFault(const std::string& payload) {
  AtomList list;
  return readAtoms(bytesOf(payload), list);
}

TEST(Atoms, ListsWhatLiesSideBySideWithShortAndLongSizes) {
  const std::string payload = atom("one ", "1") + longAtom("two ", "22") + atom("free", "");
  AtomList list;
  ASSERT_FALSE(readAtoms(bytesOf(payload), list));
  ASSERT_EQ(list.atoms.size(), 3U);
  EXPECT_EQ(list.atoms[0].type, atomType("one "));
  EXPECT_EQ(textOf(list.atoms[0].payload), "1");
  EXPECT_EQ(textOf(list.atoms[1].payload), "22");
  EXPECT_EQ(textOf(list.atoms[1].whole), longAtom("two ", "22"));
  EXPECT_TRUE(list.atoms[2].payload.empty());
  EXPECT_TRUE(list.tail.empty());
}

TEST(Atoms, KeepsTheZerosThatCloseAList) {
  const std::string payload = atom("name", "x") + number32(0);
  AtomList list;
  ASSERT_FALSE(readAtoms(bytesOf(payload), list));
  EXPECT_EQ(list.atoms.size(), 1U);
  EXPECT_EQ(textOf(list.tail), number32(0));
}

TEST(Atoms, AreRefusedWhereTheyDoNotFillTheirSpace) {
  EXPECT_EQ(listFault(""), std::error_code());
  EXPECT_EQ(listFault(number32(16) + "long" + "1234567"), MovieFault::kAtomTooLong);
  EXPECT_EQ(listFault(atom("name", "x") + "rest"), MovieFault::kAtomTooLong);
  EXPECT_EQ(listFault(number32(7) + "tiny"), MovieFault::kContradiction);
  EXPECT_EQ(listFault(openAtom("open", "x")), MovieFault::kContradiction);
  EXPECT_EQ(listFault(number32(1) + "long" + number32(0)), MovieFault::kAtomTooLong);
  EXPECT_EQ(listFault(number32(1) + "long" + number64(15)), MovieFault::kContradiction);
  EXPECT_EQ(listFault(number32(1) + "long" + number64(~0ULL)), MovieFault::kAtomTooLong);
}

TEST(Atoms, AreRefusedInMassesThatNoMovieHas) {
  std::string payload;
  for (std::size_t index = 0; index < kMostAtoms; ++index) payload += atom("free", "");
  EXPECT_EQ(listFault(payload), std::error_code());
  EXPECT_EQ(listFault(payload + atom("free", "")), MovieFault::kTooManyAtoms);
}

TEST(Atoms, AreFoundOnlyIfThereIsNoDoubt) {
  const std::string payload = atom("one ", "1") + atom("two ", "2") + atom("two ", "3");
  AtomList list;
  Atom found;
  ASSERT_FALSE(readAtoms(bytesOf(payload), list));
  EXPECT_FALSE(requireAtom(list, atomType("one "), found));
  EXPECT_EQ(textOf(found.payload), "1");
  EXPECT_EQ(requireAtom(list, atomType("two "), found), MovieFault::kContradiction);
  EXPECT_EQ(requireAtom(list, atomType("six "), found), MovieFault::kContradiction);
  EXPECT_FALSE(findAtom(list, atomType("six "), found));
  EXPECT_TRUE(found.whole.empty());
}

TEST(Atoms, HoldNumbersWithTheHighByteFirst) {
  const std::string bytes = number64(0x0102030405060708);
  EXPECT_EQ(read16(bytesOf(bytes), 6), 0x0708);
  EXPECT_EQ(read32(bytesOf(bytes), 2), 0x03040506U);
  EXPECT_EQ(read64(bytesOf(bytes), 0), 0x0102030405060708U);
}

}  // namespace
}  // namespace tallyrig
