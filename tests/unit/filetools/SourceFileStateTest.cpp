#include "filetools/SourceFileState.h"

#include "platform/simulated/SimulatedUserFiles.h"

namespace tallyrig {
namespace {

class SourceFileStateTest : public testing::Test {
 protected:
  SourceFileState state() {
    SourceFileState state;
    EXPECT_FALSE(sourceFileState(files_, url_, state));
    return state;
  }

  const std::filesystem::path url_ = "/a.mov";
  SimulatedUserFiles files_;
};

TEST_F(SourceFileStateTest, ChangesWithAnyOfItsThree) {
  files_.put(url_, "movie");
  const SourceFileState before = state();
  EXPECT_EQ(before.size, 5);
  EXPECT_EQ(state(), before);
  EXPECT_FALSE(verifySourceUnchanged(files_, url_, before));
  for (SourceFileState other :
       {SourceFileState{before.fileNumber + 1, 5, before.modificationDate},
        SourceFileState{before.fileNumber, 6, before.modificationDate}, SourceFileState{before.fileNumber, 5, {}}}) {
    EXPECT_NE(other, before);
    const TimecodeTrackError error = verifySourceUnchanged(files_, url_, other);
    EXPECT_EQ(error.code, TimecodeTrackFault::kSourceChanged);
    EXPECT_EQ(error.description, "The source file changed while it was being prepared. Reopen it and try again.");
  }
}

TEST_F(SourceFileStateTest, PassesAnErrorOn) {
  SourceFileState state;
  EXPECT_EQ(sourceFileState(files_, url_, state).code, std::errc::no_such_file_or_directory);
  EXPECT_EQ(verifySourceUnchanged(files_, url_, state).description, "No such file or directory");
  bool link = false;
  EXPECT_EQ(isSymbolicLink(files_, url_, link).code, std::errc::no_such_file_or_directory);
}

TEST_F(SourceFileStateTest, NeedsANumber) {
  SimulatedUserFiles numberless({.numbers = false});
  numberless.put(url_, "movie");
  SourceFileState state;
  const TimecodeTrackError error = sourceFileState(numberless, url_, state);
  EXPECT_EQ(error.code, TimecodeTrackFault::kNoIdentity);
  EXPECT_EQ(error.description, "Could not verify the source file's identity.");
}

TEST_F(SourceFileStateTest, KnowsALinkFromAFile) {
  files_.put(url_, "movie");
  files_.put("/link", "a.mov", FileAttributes::Kind::kSymbolicLink);
  bool link = true;
  ASSERT_FALSE(isSymbolicLink(files_, url_, link));
  EXPECT_FALSE(link);
  ASSERT_FALSE(isSymbolicLink(files_, "/link", link));
  EXPECT_TRUE(link);
}

TEST(TimecodeTrackError, HasTheDomainAndTheTexts) {
  EXPECT_STREQ(fileAnalysisCategory().name(), "Tallyrig.FileAnalysis");
  const std::vector<std::string> texts = {
      "The movie duration could not be validated.",
      "The rewritten movie did not preserve its duration or media tracks.",
      "The rewritten movie's dedicated timecode track could not be verified.",
      "Could not verify the source file's identity.",
      "The source file changed while it was being prepared. Reopen it and try again.",
  };
  for (int code = 1; code <= 5; ++code) {
    EXPECT_EQ(TimecodeTrackError(std::error_code(code, fileAnalysisCategory())).description, texts[code - 1]);
  }
  EXPECT_EQ(TimecodeTrackError(TimecodeTrackFault::kMixedCadences).description,
            "The movie has video tracks with incompatible frame cadences.");
  EXPECT_FALSE(TimecodeTrackError(std::error_code()));
}

}  // namespace
}  // namespace tallyrig
