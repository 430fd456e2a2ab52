#pragma once

#include <functional>
#include <string_view>

namespace tallyrig::test {

/// Makes the system's file calls in this program fail or come short on demand. Each hook sees the call's number since
/// this object was made, from 0. Test thread only.
struct FileFaults {
  /// An errno value to fail with instead of the call, or 0.
  std::function<int(int call)> onWrite;
  std::function<int(int call)> onRead;
  std::function<int(int call)> onSync;
  std::function<int(int call)> onClose;
  std::function<int(int call)> onRename;
  std::function<int(int call)> onChangeMode;
  /// Before any call that opens, looks at, reads, copies, changes, syncs, names or locks a file, all counted as one;
  /// the same answer.
  std::function<int(std::string_view name, int call)> onAny;
  /// The most bytes that one read or write takes; 0 for no limit.
  std::size_t largestTransfer = 0;

  int writes = 0;
  int reads = 0;
  int syncs = 0;
  int closes = 0;
  int renames = 0;
  int modeChanges = 0;
  int all = 0;

  /// Bound to the calls while it lives; calls of other threads pass.
  FileFaults();
  ~FileFaults();
};

}  // namespace tallyrig::test
