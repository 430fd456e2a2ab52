#include "filetools/WAVGenerator.h"

#include "platform/simulated/SimulatedWorld.h"
#include "support/TemporaryFolder.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;

struct WAVGeneratorWindow : testing::Test {
  SimulatedWorld world;
  std::vector<std::pair<WAVStretch, std::string>> rendered;
  std::optional<std::string> failure;
  WAVGenerator generator{world.scheduler(), [this](const WAVStretch& stretch, const std::filesystem::path& url) {
                           rendered.emplace_back(stretch, url.string());
                           return failure;
                         }};

  void type(int field, const QString& text) { generator.typeInto(field, text); }
};

TEST_F(WAVGeneratorWindow, BeginsWithAMinuteAt25) {
  EXPECT_EQ(generator.fieldText(WAVGenerator::hours), "01");
  EXPECT_EQ(generator.fieldText(WAVGenerator::frames), "00");
  EXPECT_EQ(generator.fieldText(WAVGenerator::durationMinutesField), "01");
  EXPECT_EQ(generator.fieldText(WAVGenerator::durationSecondsField), "00");
  EXPECT_EQ(generator.frameRates(), (QStringList{"23.976", "24", "25", "29.97 DF", "30"}));
  EXPECT_EQ(generator.frameRateText(), "25");
  EXPECT_EQ(generator.levelText(), "-6 dBFS");
  EXPECT_EQ(generator.suggestedFileName(), "LTC_01000000_1mins_25fps_48x16.wav");
  EXPECT_EQ(generator.sizeEstimate(), QString::fromUtf8("≈ 5.5 MB · 1:00"));
}

TEST_F(WAVGeneratorWindow, FieldsKeepDigitsAndStayInRange) {
  type(WAVGenerator::minutes, "1a2");
  EXPECT_EQ(generator.startMinutes(), 12);
  type(WAVGenerator::minutes, "99");
  EXPECT_EQ(generator.startMinutes(), 59);
  for (const char* nothing : {"", "abc", "-", "99999999999999999999999"}) {
    type(WAVGenerator::minutes, nothing);
    EXPECT_EQ(generator.startMinutes(), 59) << nothing;
  }
  type(WAVGenerator::hours, "24");
  EXPECT_EQ(generator.startHours(), 23);
  type(WAVGenerator::seconds, "-7");
  EXPECT_EQ(generator.startSeconds(), 7);
  type(WAVGenerator::frames, "29");
  EXPECT_EQ(generator.startFrames(), 24);
  type(WAVGenerator::durationMinutesField, "60");
  EXPECT_EQ(generator.durationMinutes(), 59);
  type(WAVGenerator::durationSecondsField, "08");
  EXPECT_EQ(generator.durationSeconds(), 8);
}

TEST_F(WAVGeneratorWindow, ALowerRateLowersTheFrames) {
  generator.setFrameRate(WAVFrameRate::fps30);
  type(WAVGenerator::frames, "29");
  generator.setFrameRateText("25");
  EXPECT_EQ(generator.startFrames(), 24);
  generator.setFrameRateText("23.976");
  EXPECT_EQ(generator.startFrames(), 23);
  generator.setFrameRateText("29.97 DF");
  EXPECT_EQ(generator.startFrames(), 23);
  generator.setFrameRateText("50");
  EXPECT_EQ(generator.frameRate(), WAVFrameRate::fps2997);
}

TEST_F(WAVGeneratorWindow, EstimatesTheSizeWithoutTheHeader) {
  type(WAVGenerator::durationMinutesField, "59");
  type(WAVGenerator::durationSecondsField, "59");
  generator.setBitDepth(24);
  EXPECT_EQ(generator.sizeEstimate(), QString::fromUtf8("≈ 494.2 MB · 59:59"));
  type(WAVGenerator::durationMinutesField, "0");
  type(WAVGenerator::durationSecondsField, "5");
  generator.setSampleRate(44100);
  generator.setBitDepth(16);
  EXPECT_EQ(generator.sizeEstimate(), QString::fromUtf8("≈ 0.4 MB · 0:05"));
}

TEST_F(WAVGeneratorWindow, SuggestsANameThatTellsTheContents) {
  type(WAVGenerator::durationSecondsField, "30");
  generator.setFrameRate(WAVFrameRate::fps2997);
  generator.setSampleRate(44100);
  generator.setBitDepth(24);
  type(WAVGenerator::hours, "10");
  type(WAVGenerator::frames, "2");
  EXPECT_EQ(generator.suggestedFileName(), "LTC_10000002_1m30s_2997 DFfps_44x24.wav");
  type(WAVGenerator::durationMinutesField, "0");
  generator.setFrameRate(WAVFrameRate::fps2397);
  EXPECT_EQ(generator.suggestedFileName(), "LTC_10000002_30s_23976fps_44x24.wav");
  type(WAVGenerator::durationSecondsField, "0");
  EXPECT_EQ(generator.suggestedFileName(), "LTC_10000002_0s_23976fps_44x24.wav");
}

TEST_F(WAVGeneratorWindow, TheLevelHasStepsAndEnds) {
  for (const auto& [wanted, level] :
       std::vector<std::pair<double, double>>{{-6.4, -6}, {-30, -18}, {3, 0}, {-17.6, -18}}) {
    generator.setLevelDBFS(wanted);
    EXPECT_EQ(generator.levelDBFS(), level);
  }
  generator.setLevelDBFS(std::numeric_limits<double>::quiet_NaN());
  EXPECT_EQ(generator.levelDBFS(), -18);
  generator.setSampleRate(96000);
  generator.setBitDepth(32);
  EXPECT_EQ(generator.sampleRate(), 48000);
  EXPECT_EQ(generator.bitDepth(), 16);
}

TEST_F(WAVGeneratorWindow, TheFocusMovesThroughEachRow) {
  EXPECT_EQ(WAVGenerator::nextField(WAVGenerator::hours), WAVGenerator::minutes);
  EXPECT_EQ(WAVGenerator::nextField(WAVGenerator::minutes), WAVGenerator::seconds);
  EXPECT_EQ(WAVGenerator::nextField(WAVGenerator::seconds), WAVGenerator::frames);
  EXPECT_EQ(WAVGenerator::nextField(WAVGenerator::frames), -1);
  EXPECT_EQ(WAVGenerator::nextField(WAVGenerator::durationMinutesField), WAVGenerator::durationSecondsField);
  EXPECT_EQ(WAVGenerator::nextField(WAVGenerator::durationSecondsField), -1);
}

TEST_F(WAVGeneratorWindow, ARunTakesTheValuesAsTheyStand) {
  int panels = 0;
  QObject::connect(&generator, &WAVGenerator::savePanelRequested, [&] { ++panels; });
  generator.generate();
  EXPECT_EQ(panels, 1);
  EXPECT_FALSE(generator.isGenerating()) << "the user has not answered";
  type(WAVGenerator::durationSecondsField, "5");
  generator.save(QUrl::fromLocalFile("/tmp/x.wav"));
  EXPECT_TRUE(generator.isGenerating());
  type(WAVGenerator::hours, "9");
  generator.generate();
  generator.save(QUrl::fromLocalFile("/tmp/y.wav"));
  EXPECT_EQ(panels, 1) << "one run at a time";
  world.runFor(10ms);
  EXPECT_FALSE(generator.isGenerating());
  EXPECT_FALSE(generator.errorMessage());
  ASSERT_EQ(rendered.size(), 1U);
  EXPECT_EQ(rendered[0].second, "/tmp/x.wav");
  EXPECT_EQ(rendered[0].first.durationSeconds, 65);
  EXPECT_EQ(rendered[0].first.startTimecode, (Timecode{1, 0, 0, 0, MTCFrameRate::fps25}));
}

TEST_F(WAVGeneratorWindow, AFailureStandsUntilTheNextRun) {
  failure = "Write failed: No space left on device";
  generator.generate();
  generator.save(QUrl::fromLocalFile("/tmp/x.wav"));
  world.runFor(10ms);
  EXPECT_EQ(generator.errorMessage(), "Write failed: No space left on device");
  generator.generate();
  EXPECT_FALSE(generator.errorMessage());
  generator.save(QUrl("http://example.org/x.wav"));
  EXPECT_FALSE(generator.isGenerating());
}

TEST_F(WAVGeneratorWindow, TheSavePanelBeginsInAFolderThatIsThere) {
  const TemporaryFolder folder;
  const QByteArray home = qgetenv("HOME");
  const QByteArray settings = qgetenv("XDG_CONFIG_HOME");
  qputenv("HOME", folder.path().c_str());
  qunsetenv("XDG_CONFIG_HOME");
  EXPECT_EQ(WAVGenerator::suggestedFolder().toLocalFile().toStdString(), folder.path().string());
  std::filesystem::create_directory(folder / "Music");
  EXPECT_EQ(WAVGenerator::suggestedFolder().toLocalFile().toStdString(), (folder / "Music").string());
  std::filesystem::remove(folder / "Music");
  EXPECT_TRUE(writeWhole(folder / "Music", "a file, not a folder"));
  EXPECT_EQ(WAVGenerator::suggestedFolder().toLocalFile().toStdString(), folder.path().string());
  qputenv("HOME", home);
  if (!settings.isNull()) qputenv("XDG_CONFIG_HOME", settings);
}

TEST_F(WAVGeneratorWindow, ANameThatIsNoTextIsTakenAsItsBytes) {
  generator.save(QUrl::fromEncoded("file:///tmp/%FF%0A%25.wav"));
  world.runFor(10ms);
  ASSERT_EQ(rendered.size(), 1U);
  EXPECT_EQ(rendered[0].second, "/tmp/\xff\n%.wav");
}

TEST_F(WAVGeneratorWindow, OnlyAFileThatIsThereIsNamedAsOneToBeReplaced) {
  const TemporaryFolder folder;
  const auto named = [&](const std::string& name) {
    const QByteArray path = QByteArray::fromStdString((folder / name).string());
    return WAVGenerator::nameOfFileAt(QUrl::fromEncoded("file://" + path.toPercentEncoding("/"))).toStdString();
  };
  EXPECT_EQ(named("a.wav"), "");
  ASSERT_TRUE(writeWhole(folder / "a.wav", "x"));
  EXPECT_EQ(named("a.wav"), "a.wav");
  std::filesystem::create_symlink("a.wav", folder / "link.wav");
  EXPECT_EQ(named("link.wav"), "link.wav") << "what it leads to would be overwritten";
  ASSERT_TRUE(writeWhole(folder / "\xff.wav", "x"));
  EXPECT_EQ(named("\xff.wav"), "\ufffd.wav") << "a name that is no text";
  std::filesystem::create_directory(folder / "folder.wav");
  EXPECT_EQ(named("folder.wav"), "");
  EXPECT_EQ(WAVGenerator::nameOfFileAt(QUrl("https://example.org/a.wav")), QString());
}

TEST_F(WAVGeneratorWindow, ARunOutlivesItsWindow) {
  {
    WAVGenerator closed(world.scheduler(), [this](const WAVStretch& stretch, const std::filesystem::path& url) {
      rendered.emplace_back(stretch, url.string());
      return failure;
    });
    closed.save(QUrl::fromLocalFile("/tmp/x.wav"));
  }
  world.runFor(10ms);
  EXPECT_EQ(rendered.size(), 1U);
}

}  // namespace
}  // namespace tallyrig
