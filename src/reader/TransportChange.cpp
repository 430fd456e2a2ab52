#include "reader/TransportChange.h"

namespace tallyrig {

bool changesTransport(const ReaderSnapshot& card, const ReaderSnapshot& edited) {
  const auto differs = [&](auto... fields) { return ((card.*fields != edited.*fields) || ...); };
  using S = ReaderSnapshot;
  if (differs(&S::cardRole, &S::sourceType, &S::outputProtocol)) return true;
  if (edited.outputProtocol == OutputProtocol::ltc &&
      differs(&S::outputFrameRate, &S::selectedOutputDeviceID, &S::selectedOutputChannel, &S::outputLevelDBFS)) {
    return true;
  }
  if (edited.outputProtocol == OutputProtocol::mtc && differs(&S::outputFrameRate, &S::selectedMIDIDestinationName)) {
    return true;
  }
  if (edited.cardRole == CardRole::generator) {
    return differs(&S::generatorFrameRate, &S::generatorStartMode, &S::generatorStartHours, &S::generatorStartMinutes,
                   &S::generatorStartSeconds, &S::generatorStartFrames);
  }
  return edited.sourceType == SourceType::ltc && differs(&S::selectedDeviceID, &S::selectedChannel);
}

}  // namespace tallyrig
