// The writer on a volume whose operations fail, one after the other, and whose power is cut at any moment.

#include <array>
#include <cerrno>
#include <cstring>

#include "WriterRig.h"

namespace tallyrig {
namespace {

using Abilities = SimulatedUserFiles::Abilities;
using Operation = SimulatedUserFiles::Operation;

constexpr std::array kErrors = {ENOSPC, EIO, EACCES, EROFS, EDQUOT};

/// Volumes of all kinds: where names can be exchanged and files have second names, and where not.
constexpr std::array<Abilities, 4> kVolumes = {
    Abilities{.exchange = true, .link = true}, Abilities{.exchange = true, .link = false},
    Abilities{.exchange = false, .link = true}, Abilities{.exchange = false, .link = false}};

std::string nameOf(const Abilities& volume) {
  return std::string(volume.exchange ? "exchanges" : "renames") + (volume.link ? " and links" : "");
}

struct Call {
  Operation operation;
  /// "source", "staged", "backup" or "folder".
  std::string place;
};

std::string placeOf(const WriterRig& rig, const std::filesystem::path& path) {
  if (path == rig.url) return "source";
  if (isBackup(path)) return "backup";
  return path == rig.url.parent_path() ? "folder" : "staged";
}

const char* wordFor(Operation operation) {
  switch (operation) {
    case Operation::kAttributes:
      return "look at";
    case Operation::kOpen:
      return "open";
    case Operation::kRead:
      return "read";
    case Operation::kReplacementFolder:
      return "ask for a folder beside";
    case Operation::kCopy:
      return "copy";
    case Operation::kWrite:
      return "write";
    case Operation::kSync:
      return "sync";
    case Operation::kExchange:
      return "exchange";
    case Operation::kLink:
      return "link";
    case Operation::kRename:
      return "rename";
    case Operation::kRemove:
      return "remove";
    case Operation::kLock:
      return "lock";
  }
  return "";
}

/// Every call of a run on this volume that goes well.
std::vector<std::string> callsOf(const Abilities& volume) {
  WriterRig rig(movieAt(25, 1), volume);
  std::vector<std::string> calls;
  rig.files.setHook([&](Operation operation, const auto& path) -> std::error_code {
    calls.push_back(std::string(wordFor(operation)) + " " + placeOf(rig, path));
    return {};
  });
  EXPECT_EQ(rig.run(), TimecodeTrackResult{});
  return calls;
}

/// The same, reads of one file in a row as one.
std::vector<std::string> stepsOf(const Abilities& volume) {
  std::vector<std::string> steps;
  for (const std::string& call : callsOf(volume)) {
    if (!call.starts_with("read") || steps.back() != call) steps.push_back(call);
  }
  return steps;
}

/// What the user is told when one step fails with `reason`; the backup is named by "*".
struct Outcome {
  std::string step;
  TimecodeTrackResult result;
  enum class Left { kOld, kNew, kNewAndBackup } left;
};

const char* const kRestored = "Timecode writing failed validation. The original file was restored.";
const char* const kChangedAgain =
    "Timecode writing failed after replacement. The source changed again, so it was not restored. Your original is "
    "retained at *.";
const char* const kRetained = "Timecode track was written, but the safety backup was retained at /shows/*.";

/// On a volume that can do all, step by step.
std::vector<Outcome> outcomesFor(const std::string& reason) {
  using Left = Outcome::Left;
  const auto untouched = [](const std::string& step, const std::string& text) {
    return Outcome{step, failedWith(text), Left::kOld};
  };
  const auto safe = [&](const std::string& step) { return untouched(step, wrapped(reason)); };
  const auto restored = [&](const std::string& step) { return untouched(step, kRestored); };
  const std::string unverified = wrapped("The rewritten movie's dedicated timecode track could not be verified.");
  const std::string changed = wrapped("The source file changed while it was being prepared. Reopen it and try again.");
  return {
      safe("look at source"),
      safe("look at source"),
      safe("open source"),
      safe("open source"),
      safe("read source"),
      safe("open source"),
      safe("read source"),
      safe("ask for a folder beside source"),
      safe("copy source"),
      untouched("open staged", "Could not load duration: " + reason),
      untouched("read staged", "Could not load duration: " + reason),
      untouched("write staged", "Could not append timecode sample: " + reason),
      untouched("write staged", "Could not write movie header: " + reason),
      untouched("sync staged", "Could not write movie header: " + reason),
      untouched("write staged", "Could not write movie header: " + reason),
      untouched("sync staged", "Could not write movie header: " + reason),
      safe("open staged"),
      safe("read staged"),
      untouched("open staged", unverified),
      untouched("read staged", unverified),
      safe("look at staged"),
      safe("lock source"),
      safe("look at source"),
      safe("link source"),
      safe("look at backup"),
      safe("sync folder"),
      safe("exchange staged"),
      untouched("look at staged", changed),
      safe("sync folder"),
      {"remove staged", {}, Left::kNew},
      {"look at source", failedWith(kChangedAgain), Left::kNewAndBackup},
      {"open source", {}, Left::kNew},
      restored("open source"),
      restored("read source"),
      restored("open source"),
      restored("read source"),
      restored("look at source"),
      {"look at backup", {kRetained, false}, Left::kNewAndBackup},
      {"remove backup", {kRetained, false}, Left::kNewAndBackup},
  };
}

std::string replaced(std::string text, const std::string& what, const std::string& with) {
  if (const auto at = text.find(what); at != std::string::npos) text.replace(at, what.size(), with);
  return text;
}

/// Lets the calls of these numbers fail.
void failAt(WriterRig& rig, std::vector<std::size_t> numbers, int error) {
  rig.files.setHook([numbers = std::move(numbers), error, call = std::size_t{0}](auto, const auto&) mutable {
    const bool fails = std::ranges::count(numbers, call++) > 0;
    return fails ? std::error_code(error, std::generic_category()) : std::error_code{};
  });
}

TEST(TimecodeTrackWriterFaults, AreToldAndUndoneAtEveryStepForEveryError) {
  const Abilities volume = kVolumes[0];
  const std::vector<std::string> calls = callsOf(volume);
  for (const int error : kErrors) {
    const std::vector<Outcome> outcomes = outcomesFor(std::strerror(error));
    auto outcome = outcomes.begin();
    for (std::size_t call = 0; call < calls.size(); ++call) {
      const bool again = call > 0 && calls[call].starts_with("read") && calls[call] == calls[call - 1];
      if (call > 0 && !again) ++outcome;
      ASSERT_NE(outcome, outcomes.end());
      SCOPED_TRACE(std::string(std::strerror(error)) + " at call " + std::to_string(call) + ": " + calls[call]);
      ASSERT_EQ(outcome->step, calls[call]);

      WriterRig rig(movieAt(25, 1), volume);
      failAt(rig, {call}, error);
      const TimecodeTrackResult result = rig.run();
      TimecodeTrackResult expected = outcome->result;
      if (outcome->left == Outcome::Left::kNewAndBackup) {
        ASSERT_TRUE(rig.backup());
        EXPECT_EQ(rig.wordFor(rig.files.contents(*rig.backup())), kOldMovie);
        expected.text = replaced(*expected.text, "*", rig.backup()->filename().string());
      } else if (outcome->step != "remove staged") {
        EXPECT_TRUE(rig.others().empty());
      }
      EXPECT_EQ(result, expected);
      EXPECT_EQ(rig.sourceIs(), outcome->left == Outcome::Left::kOld ? kOldMovie : kNewMovie);
    }
    EXPECT_EQ(outcome + 1, outcomes.end());
  }
}

TEST(TimecodeTrackWriterFaults, MeetTheseStepsOnVolumesThatCanLess) {
  const auto tail = [](const Abilities& volume) {
    const std::vector<std::string> steps = stepsOf(volume);
    return std::vector<std::string>(std::ranges::find(steps, "lock source"), steps.end());
  };
  const std::vector<std::string> verification = {"look at source", "open source",    "open source",
                                                 "read source",    "open source",    "read source",
                                                 "look at source", "look at backup", "remove backup"};
  const auto then = [&](std::vector<std::string> steps) {
    steps.insert(steps.end(), verification.begin(), verification.end());
    return steps;
  };
  EXPECT_EQ(tail({.exchange = true, .link = false}),
            then({"lock source", "look at source", "link source", "rename staged", "exchange backup", "look at backup",
                  "sync folder"}));
  EXPECT_EQ(tail({.exchange = false, .link = true}),
            then({"lock source", "look at source", "link source", "look at backup", "sync folder", "exchange staged",
                  "look at source", "rename staged", "sync folder"}));
  EXPECT_EQ(tail({.exchange = false, .link = false}),
            then({"lock source", "look at source", "link source", "rename staged", "exchange backup", "rename backup",
                  "copy source", "sync backup", "sync folder", "look at source", "rename staged", "sync folder"}));
}

/// Whatever failed, a whole movie stands in its place, and the text says what is the case.
void expectHonest(const WriterRig& rig, const TimecodeTrackResult& result) {
  const std::string text = result.text.value_or("");
  ASSERT_TRUE(rig.source() == rig.old || rig.source() == rig.edited);
  const bool isNew = rig.source() == rig.edited;
  std::string named;
  bool kept = false;
  for (const auto& path : rig.others()) {
    if (!isBackup(path)) continue;
    named = path.filename().string();
    kept = rig.files.contents(path) == rig.old;
  }
  if (!result.failed) {
    EXPECT_TRUE(isNew) << text;
    if (!text.empty()) {
      EXPECT_EQ(text, replaced(kRetained, "*", named));
      EXPECT_TRUE(kept);
    }
  } else if (text.find("is retained at") != std::string::npos) {
    EXPECT_TRUE(text.ends_with("is retained at " + named + ".")) << text;
    EXPECT_TRUE(kept) << text;
  } else {
    EXPECT_FALSE(isNew) << text;
  }
}

TEST(TimecodeTrackWriterFaults, NeverLoseTheMovieOnAnyVolume) {
  for (const Abilities& volume : kVolumes) {
    const std::size_t count = callsOf(volume).size();
    for (std::size_t call = 0; call < count; ++call) {
      SCOPED_TRACE(nameOf(volume) + ", call " + std::to_string(call));
      WriterRig rig(movieAt(25, 1), volume);
      failAt(rig, {call}, EIO);
      const TimecodeTrackResult result = rig.run();
      expectHonest(rig, result);
      if (result.failed && rig.source() == rig.old) {
        EXPECT_TRUE(rig.others().empty());
      }
    }
  }
}

TEST(TimecodeTrackWriterFaults, NeverLoseTheMovieWhenTwoThingsFail) {
  for (const Abilities& volume : kVolumes) {
    // What undoes the first failure takes calls of its own.
    const std::size_t count = callsOf(volume).size() + 12;
    for (std::size_t first = 0; first < count; ++first) {
      for (std::size_t second = first + 1; second < count; ++second) {
        SCOPED_TRACE(nameOf(volume) + ", calls " + std::to_string(first) + " and " + std::to_string(second));
        WriterRig rig(movieAt(25, 1), volume);
        failAt(rig, {first, second}, EIO);
        expectHonest(rig, rig.run());
        if (HasFatalFailure()) return;
      }
    }
  }
}

TEST(TimecodeTrackWriterFaults, NeverLoseTheMovieWhenTheDiskFailsForGood) {
  for (const Abilities& volume : kVolumes) {
    for (std::size_t from = 0; from < callsOf(volume).size(); ++from) {
      SCOPED_TRACE(nameOf(volume) + ", from call " + std::to_string(from));
      WriterRig rig(movieAt(25, 1), volume);
      rig.files.setHook([from, call = std::size_t{0}](auto, const auto&) mutable {
        return call++ >= from ? std::error_code(EIO, std::generic_category()) : std::error_code{};
      });
      expectHonest(rig, rig.run());
    }
  }
}

TEST(TimecodeTrackWriterFaults, LeaveAWholeMovieAndTheOldOneWhenThePowerIsCut) {
  for (const Abilities& volume : kVolumes) {
    WriterRig rig(movieAt(25, 1), volume);
    int cuts = 0;
    int withNew = 0;
    bool backupWent = false;
    const auto cut = [&](auto operation, const auto& path) -> std::error_code {
      for (std::uint32_t seed = 0; seed < 200; ++seed, ++cuts) {
        const auto left = rig.files.afterPowerCut(seed);
        SCOPED_TRACE(nameOf(volume) + ", before " + wordFor(operation) + " " + placeOf(rig, path) + ", seed " +
                     std::to_string(seed));
        EXPECT_TRUE(left.contains(rig.url));
        const std::string source = left.contains(rig.url) ? left.at(rig.url) : "nothing";
        EXPECT_TRUE(source == rig.old || source == rig.edited);
        withNew += source == rig.edited ? 1 : 0;
        const bool hasOld = std::ranges::any_of(left, [&](const auto& file) { return file.second == rig.old; });
        EXPECT_TRUE(hasOld || backupWent);
        if (testing::Test::HasFailure()) break;
      }
      backupWent = backupWent || (operation == Operation::kRemove && isBackup(path));
      return {};
    };
    rig.files.setHook(cut);
    EXPECT_EQ(rig.run(), TimecodeTrackResult{});
    EXPECT_GT(withNew, 0);
    EXPECT_LT(withNew, cuts);
    if (HasFailure()) return;
  }
}

}  // namespace
}  // namespace tallyrig
