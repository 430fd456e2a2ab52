// The writer while another program works on the same movie.

#include "WriterRig.h"

namespace tallyrig {
namespace {

using Operation = SimulatedUserFiles::Operation;

const std::string kChanged = "The source file changed while it was being prepared. Reopen it and try again.";
const std::string kTheirs = "what another program has put there";

/// What another program does to the movie.
struct Deed {
  std::string name;
  std::function<void(WriterRig&)> act;
  /// What it has made of a movie that held this; absent if it has taken it away.
  std::function<std::optional<std::string>(const std::string&)> outcome;
};

std::vector<Deed> deeds() {
  const auto same = [](const std::string& movie) { return std::optional(movie); };
  return {
      {"Touches", [](WriterRig& rig) { rig.files.touch(rig.url); }, same},
      {"Replaces", [](WriterRig& rig) { rig.files.put(rig.url, kTheirs); },
       [](const std::string&) { return std::optional(kTheirs); }},
      {"ReplacesByAnEqual", [](WriterRig& rig) { rig.files.put(rig.url, rig.source()); }, same},
      {"Truncates", [](WriterRig& rig) { rig.files.truncate(rig.url, 10); },
       [](const std::string& movie) { return std::optional(movie.substr(0, 10)); }},
      {"Appends", [](WriterRig& rig) { rig.files.append(rig.url, kTheirs); },
       [](const std::string& movie) { return std::optional(movie + kTheirs); }},
      {"Deletes", [](WriterRig& rig) { rig.files.take(rig.url); },
       [](const std::string&) { return std::optional<std::string>(); }},
      {"PutsALink", [](WriterRig& rig) { rig.files.put(rig.url, kTheirs, FileAttributes::Kind::kSymbolicLink); },
       [](const std::string&) { return std::optional(kTheirs); }},
  };
}

class TimecodeTrackWriterWithOthers : public testing::TestWithParam<Deed> {
 protected:
  /// Runs the writer and lets the other program act before the call of this number; whether there was one.
  bool runWithDeedBefore(std::size_t call, WriterRig& rig, TimecodeTrackResult& result) const {
    std::size_t calls = 0;
    rig.files.setHook([&, call](auto, const auto&) -> std::error_code {
      if (calls++ == call) {
        before_ = rig.source();
        GetParam().act(rig);
      }
      return {};
    });
    result = rig.run();
    rig.files.setHook({});
    return calls > call;
  }

  /// What stood at the movie's place before the deed.
  mutable std::string before_;
};

/// Nothing that anybody made is lost: not what the other program made of the movie, and not the original, unless the
/// other program did away with it itself.
TEST_P(TimecodeTrackWriterWithOthers, AtAnyMomentNothingOfTheirsIsLost) {
  for (const bool links : {true, false}) {
    int successes = 0;
    int failures = 0;
    for (std::size_t call = 0;; ++call) {
      SCOPED_TRACE("before call " + std::to_string(call) + (links ? "" : " without links"));
      WriterRig rig(movieAt(25, 1), {.exchange = true, .link = links});
      TimecodeTrackResult result;
      if (!runWithDeedBefore(call, rig, result)) break;
      const std::optional<std::string> theirs = GetParam().outcome(before_);

      std::vector<std::optional<std::string>> left = {rig.files.contents(rig.url)};
      for (const auto& path : rig.others()) left.push_back(rig.files.contents(path));
      EXPECT_TRUE(!theirs || std::ranges::count(left, theirs) > 0 || *theirs == rig.old) << result.text.value_or("");
      (result.failed ? failures : successes) += 1;

      const std::string text = result.text.value_or("");
      if (text.find("retained at") != std::string::npos) {
        ASSERT_TRUE(rig.backup()) << text;
        EXPECT_NE(text.find(rig.backup()->filename().string()), std::string::npos) << text;
      } else {
        EXPECT_TRUE(rig.others().empty()) << text << "\n" << rig.others().front();
      }
      if (!result.failed) {
        EXPECT_TRUE(rig.source() == rig.edited || theirs == rig.files.contents(rig.url));
      }
      if (HasFailure()) return;
    }
    EXPECT_GT(failures, 20);
    // A deed before the first look at the file is none, and one after the last is its business alone.
    EXPECT_GT(successes + failures, 30);
  }
}

/// Between the copy and the swap.
TEST_P(TimecodeTrackWriterWithOthers, BeforeTheSwapTheirChangeStandsAndIsToldOf) {
  for (const Operation moment : {Operation::kWrite, Operation::kLock, Operation::kLink, Operation::kExchange}) {
    WriterRig rig;
    bool done = false;
    rig.files.setHook([&](Operation operation, const auto&) -> std::error_code {
      if (operation == moment && !done) {
        done = true;
        GetParam().act(rig);
      }
      return {};
    });
    const TimecodeTrackResult result = rig.run();
    EXPECT_EQ(rig.sourceIs(), rig.wordFor(GetParam().outcome(rig.old)));
    EXPECT_TRUE(rig.others().empty());
    const bool gone = !rig.files.contents(rig.url);
    EXPECT_EQ(result, failedWith(wrapped(gone ? "No such file or directory" : kChanged))) << static_cast<int>(moment);
  }
}

/// After the swap, while the result is verified: before the last look at the file.
TEST_P(TimecodeTrackWriterWithOthers, AfterTheSwapTheirChangeStandsAndTheBackupIsNamed) {
  WriterRig rig;
  int looks = 0;
  rig.files.setHook([&](Operation operation, const auto& path) -> std::error_code {
    // The fifth look at the movie is the last.
    if (operation == Operation::kAttributes && path == rig.url && ++looks == 5) GetParam().act(rig);
    return {};
  });
  const TimecodeTrackResult result = rig.run();
  ASSERT_TRUE(rig.backup());
  EXPECT_EQ(rig.wordFor(rig.files.contents(*rig.backup())), kOldMovie);
  EXPECT_EQ(rig.sourceIs(), rig.wordFor(GetParam().outcome(rig.edited)));
  EXPECT_EQ(result, failedWith("Timecode writing failed after replacement. The source changed again, so it was not "
                               "restored. Your original is retained at " +
                               rig.backup()->filename().string() + "."));
}

/// While the original is being put back.
TEST_P(TimecodeTrackWriterWithOthers, DuringTheRestorationTheirChangeStandsAndTheBackupIsNamed) {
  for (const Operation moment : {Operation::kLock, Operation::kExchange}) {
    WriterRig rig;
    bool swapped = false;
    bool failing = true;
    bool done = false;
    rig.files.setHook([&](Operation operation, const auto&) -> std::error_code {
      swapped = swapped || rig.source() == rig.edited;
      if (swapped && failing && operation == Operation::kRead) {
        failing = false;
        return std::make_error_code(std::errc::io_error);
      }
      if (swapped && !failing && !done && operation == moment) {
        done = true;
        GetParam().act(rig);
      }
      return {};
    });
    const TimecodeTrackResult result = rig.run();
    ASSERT_TRUE(rig.backup());
    EXPECT_EQ(rig.wordFor(rig.files.contents(*rig.backup())), kOldMovie);
    EXPECT_EQ(rig.sourceIs(), rig.wordFor(GetParam().outcome(rig.edited)));
    EXPECT_EQ(result, failedWith("Timecode writing failed after replacement. Your original is retained at " +
                                 rig.backup()->filename().string() + "."));
  }
}

INSTANTIATE_TEST_SUITE_P(Deeds, TimecodeTrackWriterWithOthers, testing::ValuesIn(deeds()),
                         [](const auto& deed) { return deed.param.name; });

TEST(TimecodeTrackWriterWithAWriter, KeepsAnOriginalThatIsWrittenIntoAfterTheSwap) {
  WriterRig rig;
  // Somebody had the movie open all along, and writes on into what is the backup by then.
  rig.files.setHook([&](Operation operation, const auto& path) -> std::error_code {
    if (operation == Operation::kAttributes && isBackup(path) && rig.source() == rig.edited) {
      rig.files.append(path, kTheirs);
    }
    return {};
  });
  const TimecodeTrackResult result = rig.run();
  ASSERT_TRUE(rig.backup());
  EXPECT_EQ(rig.files.contents(*rig.backup()), rig.old + kTheirs);
  EXPECT_EQ(result, (TimecodeTrackResult{"Timecode track was written, but the safety backup was retained at " +
                                             rig.backup()->string() + ".",
                                         false}));
}

TEST(TimecodeTrackWriterWithAThief, SaysWhatWentWrongWhenTheBackupIsGone) {
  WriterRig rig;
  rig.files.setHook([&](Operation operation, const auto&) -> std::error_code {
    if (rig.source() != rig.edited || operation != Operation::kRead) return {};
    for (const auto& path : rig.others()) rig.files.take(path);
    return std::make_error_code(std::errc::io_error);
  });
  EXPECT_EQ(rig.run(), failedWith(wrapped("Input/output error")));
  EXPECT_EQ(rig.sourceIs(), kNewMovie);
}

TEST(TimecodeTrackWriterWithAnotherOfItsKind, LetsOneOfTwoWrite) {
  for (int moment = 0; moment < 12; ++moment) {
    WriterRig rig;
    int calls = 0;
    TimecodeTrackResult other;
    bool inside = false;
    rig.files.setHook([&](auto, const auto&) -> std::error_code {
      if (!inside && calls++ == moment) {
        inside = true;
        other = writeTimecodeTrack(rig.files, rig.url, {2, 0, 0, 0, MTCFrameRate::fps25});
        inside = false;
      }
      return {};
    });
    const TimecodeTrackResult result = rig.run();
    EXPECT_EQ(other, TimecodeTrackResult{});
    // The state is taken by the second call.
    EXPECT_EQ(result, moment < 2 ? TimecodeTrackResult{} : failedWith(wrapped(kChanged))) << moment;
    EXPECT_TRUE(rig.others().empty());
  }
}

}  // namespace
}  // namespace tallyrig
