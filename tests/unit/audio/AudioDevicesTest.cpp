#include "audio/AudioDevices.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/ListedAudioSystem.h"
#include "support/RecordingMidiSystem.h"

namespace tallyrig {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class AudioDevicesTest : public testing::Test {
 protected:
  std::vector<std::string> inputNames() {
    std::vector<std::string> names;
    for (const AudioInputDevice& device : listInputDevices(audio)) names.push_back(device.name);
    return names;
  }
  std::vector<std::string> outputNames() {
    std::vector<std::string> names;
    for (const AudioOutputDevice& device : listOutputDevices(audio)) names.push_back(device.name);
    return names;
  }

  ListedAudioSystem audio;
};

TEST_F(AudioDevicesTest, NoDevicesGiveEmptyLists) {
  EXPECT_THAT(listInputDevices(audio), IsEmpty());
  EXPECT_THAT(listOutputDevices(audio), IsEmpty());
}

TEST_F(AudioDevicesTest, ADuplexDeviceStandsInBothListsWithItsTwoLayouts) {
  audio.listed = {{7, "Stagebox", {2, 2, 8}, {16}}};
  EXPECT_THAT(listInputDevices(audio), ElementsAre(AudioInputDevice{{7, "Stagebox", 12, {2, 2, 8}}}));
  EXPECT_THAT(listOutputDevices(audio), ElementsAre(AudioOutputDevice{{7, "Stagebox", 16, {16}}}));
}

TEST_F(AudioDevicesTest, ASideWithoutChannelsIsNotListed) {
  audio.listed = {{1, "Microphone", {1}, {}}, {2, "Speaker", {}, {2}}, {3, "Idle", {0, 0}, {0}}};
  EXPECT_THAT(inputNames(), ElementsAre("Microphone"));
  EXPECT_THAT(outputNames(), ElementsAre("Speaker"));
}

TEST_F(AudioDevicesTest, AStreamOfNoChannelsStaysInTheLayout) {
  audio.listed = {{1, "Card", {2, 0, 8}, {0, 2}}};
  EXPECT_THAT(listInputDevices(audio), ElementsAre(AudioInputDevice{{1, "Card", 10, {2, 0, 8}}}));
  EXPECT_THAT(listOutputDevices(audio), ElementsAre(AudioOutputDevice{{1, "Card", 2, {0, 2}}}));
}

TEST_F(AudioDevicesTest, TheSystemsOrderIsKept) {
  audio.listed = {{9, "C", {1}, {1}}, {2, "A", {1}, {1}}, {5, "B", {1}, {1}}};
  EXPECT_THAT(inputNames(), ElementsAre("C", "A", "B"));
  EXPECT_THAT(outputNames(), ElementsAre("C", "A", "B"));
}

TEST_F(AudioDevicesTest, DevicesWithoutANameAreUnknownAndDifferByNumberOnly) {
  audio.listed = {{4, "", {2}, {}}, {5, "", {2}, {}}};
  EXPECT_THAT(listInputDevices(audio),
              ElementsAre(AudioInputDevice{{4, "Unknown", 2, {2}}}, AudioInputDevice{{5, "Unknown", 2, {2}}}));
}

TEST_F(AudioDevicesTest, TwoDevicesOfOneNameStandInTheSystemsOrder) {
  audio.listed = {{5, "Interface", {2}, {}}, {4, "Interface", {8}, {}}};
  EXPECT_THAT(listInputDevices(audio),
              ElementsAre(AudioInputDevice{{5, "Interface", 2, {2}}}, AudioInputDevice{{4, "Interface", 8, {8}}}));
}

TEST_F(AudioDevicesTest, PhonesAndWirelessInputsAreLeftOutOfTheInputsOnly) {
  const std::vector<std::string> names{"Anna's IPHONE Microphone", "iPad",       "AirPlay",  "My BlueTooth set",
                                       "Car Hands-Free",           "Hands free", "USB Audio"};
  for (const std::string& name : names) {
    audio.listed.push_back({static_cast<AudioDeviceID>(audio.listed.size()), name, {1}, {1}});
  }
  EXPECT_THAT(inputNames(), ElementsAre("Hands free", "USB Audio"));
  EXPECT_EQ(outputNames(), names);
}

TEST_F(AudioDevicesTest, BytesThatAreNoUtf8BecomeReplacementCharacters) {
  const std::string replacement = "\xEF\xBF\xBD";
  const std::string umlauts = "Gr\xC3\xBC\xC3\x9F";
  audio.listed = {{1, "Mixer \xFF 2", {2}, {}}, {2, "Cut \xC3", {2}, {}}, {3, umlauts, {2}, {}}};
  EXPECT_THAT(inputNames(), ElementsAre("Mixer " + replacement + " 2", "Cut " + replacement, umlauts));
}

TEST_F(AudioDevicesTest, ABrokenNameIsFilteredLikeAnyOther) {
  audio.listed = {{1, "\xFFiPhone", {2}, {2}}};
  EXPECT_THAT(inputNames(), IsEmpty());
  EXPECT_EQ(outputNames().size(), 1U);
}

TEST(LayoutText, JoinsTheGroups) {
  EXPECT_EQ(layoutText({8}), "8");
  EXPECT_EQ(layoutText({2, 2, 8}), "2+2+8");
  EXPECT_EQ(layoutText({2, 0, 8}), "2+0+8");
  EXPECT_EQ(layoutText({}), "");
}

TEST(MIDIDevices, AllEndpointsAreListedInTheSystemsOrder) {
  RecordingMidiSystem midi;
  midi.listedSources = {{7, "Desk"}, {3, "Bluetooth Keys"}, {4, "Desk"}};
  midi.listedDestinations = {{9, "Lights"}};
  EXPECT_THAT(listMIDISources(midi), ElementsAre(MIDISourceDevice{7, "Desk"}, MIDISourceDevice{3, "Bluetooth Keys"},
                                                 MIDISourceDevice{4, "Desk"}));
  EXPECT_THAT(listMIDIDestinations(midi), ElementsAre(MIDIDestinationDevice{9, "Lights"}));
}

TEST(MIDIDevices, AnEndpointWithoutANameIsUnknown) {
  RecordingMidiSystem midi;
  midi.listedSources = {{7, ""}, {8, "Caf\xE9"}};
  midi.listedDestinations = {{9, ""}};
  EXPECT_THAT(listMIDISources(midi),
              ElementsAre(MIDISourceDevice{7, "Unknown"}, MIDISourceDevice{8, "Caf\xEF\xBF\xBD"}));
  EXPECT_THAT(listMIDIDestinations(midi), ElementsAre(MIDIDestinationDevice{9, "Unknown"}));
}

TEST(MIDIDevices, NoEndpointsGiveEmptyLists) {
  RecordingMidiSystem midi;
  EXPECT_THAT(listMIDISources(midi), IsEmpty());
  EXPECT_THAT(listMIDIDestinations(midi), IsEmpty());
}

}  // namespace
}  // namespace tallyrig
