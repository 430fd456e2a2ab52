#include "reader/TransportChange.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

namespace tallyrig {
namespace {

struct Kind {
  std::string name;
  CardRole role;
  SourceType source;
  OutputProtocol output;
};

/// One change of a setting, and on which cards it counts.
struct Edit {
  std::string name;
  std::function<void(ReaderSnapshot&)> make;
  std::function<bool(const ReaderSnapshot&)> matters;
};

bool isLTCReader(const ReaderSnapshot& s) {
  return s.cardRole == CardRole::reader && s.sourceType == SourceType::ltc;
}
bool isGenerator(const ReaderSnapshot& s) {
  return s.cardRole == CardRole::generator;
}
bool emitsLTC(const ReaderSnapshot& s) {
  return s.outputProtocol == OutputProtocol::ltc;
}
bool emitsMTC(const ReaderSnapshot& s) {
  return s.outputProtocol == OutputProtocol::mtc;
}
bool emits(const ReaderSnapshot& s) {
  return emitsLTC(s) || emitsMTC(s);
}
bool never(const ReaderSnapshot&) {
  return false;
}

const std::vector<Edit>& edits() {
  static const std::vector<Edit> kEdits{
      {"nothing", [](auto&) {}, never},
      {"label", [](auto& s) { s.label = "Pit"; }, never},
      {"colour", [](auto& s) { s.backgroundColorHex = "#000000"; }, never},
      {"offset", [](auto& s) { s.ltcFrameOffset = 3; }, never},
      {"tile size", [](auto& s) { s.tileSize = TileSize::large; }, never},
      {"input device", [](auto& s) { s.selectedDeviceID = 9; }, isLTCReader},
      {"input device name", [](auto& s) { s.selectedDeviceName = "Rack"; }, never},
      {"input channel", [](auto& s) { s.selectedChannel = 1; }, isLTCReader},
      {"output rate", [](auto& s) { s.outputFrameRate = OutputFrameRate::fps25; }, emits},
      {"output device", [](auto& s) { s.selectedOutputDeviceID = 9; }, emitsLTC},
      {"no output device", [](auto& s) { s.selectedOutputDeviceID.reset(); }, emitsLTC},
      {"output channel", [](auto& s) { s.selectedOutputChannel = 1; }, emitsLTC},
      {"level", [](auto& s) { s.outputLevelDBFS = -7; }, emitsLTC},
      {"destination", [](auto& s) { s.selectedMIDIDestinationName = "Bridge"; }, emitsMTC},
      {"generator rate", [](auto& s) { s.generatorFrameRate = MTCFrameRate::fps24; }, isGenerator},
      {"mode", [](auto& s) { s.generatorStartMode = GeneratorStartMode::localTime; }, isGenerator},
      {"hours", [](auto& s) { s.generatorStartHours = 2; }, isGenerator},
      {"minutes", [](auto& s) { s.generatorStartMinutes = 2; }, isGenerator},
      {"seconds", [](auto& s) { s.generatorStartSeconds = 2; }, isGenerator},
      {"frames", [](auto& s) { s.generatorStartFrames = 2; }, isGenerator},
  };
  return kEdits;
}

class TransportChange : public testing::TestWithParam<Kind> {};

TEST_P(TransportChange, CountsWhereTheSettingIsInUse) {
  ReaderSnapshot card;
  card.cardRole = GetParam().role;
  card.sourceType = GetParam().source;
  card.outputProtocol = GetParam().output;
  card.selectedOutputDeviceID = 4;
  for (const Edit& edit : edits()) {
    ReaderSnapshot edited = card;
    edit.make(edited);
    EXPECT_EQ(changesTransport(card, edited), edit.matters(card)) << edit.name << " of a " << GetParam().name;
  }
}

TEST_P(TransportChange, AnotherKindOfCardAlwaysCounts) {
  ReaderSnapshot card;
  card.cardRole = GetParam().role;
  card.sourceType = GetParam().source;
  card.outputProtocol = GetParam().output;
  for (const CardRole role : {CardRole::reader, CardRole::generator}) {
    for (const SourceType source : {SourceType::ltc, SourceType::mtc}) {
      for (const OutputProtocol output : {OutputProtocol::disabled, OutputProtocol::ltc, OutputProtocol::mtc}) {
        ReaderSnapshot edited = card;
        edited.cardRole = role;
        edited.sourceType = source;
        edited.outputProtocol = output;
        EXPECT_EQ(changesTransport(card, edited), edited != card);
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(
    Cards, TransportChange,
    testing::Values(Kind{"silent LTC reader", CardRole::reader, SourceType::ltc, OutputProtocol::disabled},
                    Kind{"LTC reader into LTC", CardRole::reader, SourceType::ltc, OutputProtocol::ltc},
                    Kind{"LTC reader into MTC", CardRole::reader, SourceType::ltc, OutputProtocol::mtc},
                    Kind{"silent MTC reader", CardRole::reader, SourceType::mtc, OutputProtocol::disabled},
                    Kind{"MTC reader into LTC", CardRole::reader, SourceType::mtc, OutputProtocol::ltc},
                    Kind{"silent generator", CardRole::generator, SourceType::ltc, OutputProtocol::disabled},
                    Kind{"LTC generator", CardRole::generator, SourceType::ltc, OutputProtocol::ltc},
                    Kind{"MTC generator", CardRole::generator, SourceType::mtc, OutputProtocol::mtc}));

}  // namespace
}  // namespace tallyrig
