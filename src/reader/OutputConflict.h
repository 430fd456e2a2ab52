#pragma once

#include <optional>
#include <string>

#include "reader/ReaderSnapshot.h"
#include "reader/ReaderStore.h"

namespace tallyrig {

/// What to tell the user if another card of the wall is set to the output that `edited` asks for; absent if none is.
/// It goes by the cards' settings, running or not. Main thread.
std::optional<std::string> outputConflict(const ReaderStore& store, const ReaderSnapshot& edited);

}  // namespace tallyrig
