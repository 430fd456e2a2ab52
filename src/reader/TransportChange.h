#pragma once

#include "reader/ReaderSnapshot.h"

namespace tallyrig {

/// Whether a card must start anew when its settings become `edited`: whether what it receives, emits or starts from
/// differs. A label, a colour, a display offset and settings of a role or protocol that is not in use do not count, nor
/// does the number of a MIDI source, which is not stored. Pure.
bool changesTransport(const ReaderSnapshot& card, const ReaderSnapshot& edited);

}  // namespace tallyrig
