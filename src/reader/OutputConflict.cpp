#include "reader/OutputConflict.h"

#include <algorithm>

namespace tallyrig {
namespace {

/// The label of the first other card that `holds`, in the order of the wall.
template <typename Holds>
std::string holderOf(const ReaderStore& store, const ReaderSnapshot& edited, Holds&& holds) {
  const auto& readers = store.readers();
  const auto holder = std::find_if(readers.begin(), readers.end(), [&](const auto& reader) {
    return reader->settings().id != edited.id && holds(reader->settings());
  });
  const bool hasName = holder != readers.end() && !(*holder)->settings().label.empty();
  return hasName ? (*holder)->settings().label : "another card";
}

}  // namespace

std::optional<std::string> outputConflict(const ReaderStore& store, const ReaderSnapshot& edited) {
  if (edited.outputProtocol == OutputProtocol::ltc && edited.selectedOutputDeviceID &&
      !store.isLTCOutputAvailable(*edited.selectedOutputDeviceID, edited.selectedOutputChannel, edited.id)) {
    return "This output channel is already in use by:\n" + holderOf(store, edited, [&](const ReaderSnapshot& other) {
             return other.outputProtocol == OutputProtocol::ltc &&
                    other.selectedOutputDeviceID == edited.selectedOutputDeviceID &&
                    other.selectedOutputChannel == edited.selectedOutputChannel;
           });
  }
  if (edited.outputProtocol == OutputProtocol::mtc && edited.selectedMIDIDestinationName &&
      !store.isMTCDestinationAvailable(*edited.selectedMIDIDestinationName, edited.id)) {
    return "This MIDI destination is already in use by:\n" + holderOf(store, edited, [&](const ReaderSnapshot& other) {
             return other.outputProtocol == OutputProtocol::mtc &&
                    other.selectedMIDIDestinationName == edited.selectedMIDIDestinationName;
           });
  }
  return std::nullopt;
}

}  // namespace tallyrig
