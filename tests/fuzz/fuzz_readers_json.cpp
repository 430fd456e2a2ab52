// The text of readers.json. Whatever can be read must also be written, and read back as the same cards.

#include <cstdint>
#include <cstdlib>
#include <string>

#include "reader/ReaderSnapshot.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto snapshots = tallyrig::decodeSnapshots(std::string(reinterpret_cast<const char*>(data), size));
  if (!snapshots) return 0;
  const auto text = tallyrig::encodeSnapshots(*snapshots);
  if (!text || tallyrig::decodeSnapshots(*text) != snapshots) std::abort();
  return 0;
}
