#include "platform/desktop/SettingsPreferences.h"

#include <QTemporaryDir>
#include <fstream>

#include "support/TemporaryFolder.h"

namespace tallyrig {
namespace {

class SettingsPreferencesTest : public testing::Test {
 protected:
  QTemporaryDir folder_;
  const std::filesystem::path path_ = folder_.filePath("settings.conf").toStdString();
};

TEST_F(SettingsPreferencesTest, AKeyThatWasNeverSetIsAbsent) {
  const SettingsPreferences preferences(path_);
  EXPECT_EQ(preferences.string("Tallyrig.Appearance"), std::nullopt);
}

TEST_F(SettingsPreferencesTest, TextComesBackAsItWasInTheNextRun) {
  const std::vector<std::string> texts = {"Dark",
                                          "",
                                          " 1,2 , 3;4 ",
                                          "\"quoted\" = \\ value",
                                          "@Rect(1 2 3 4)",
                                          "@",
                                          "Zürich \xE2\x80\x94 caf\xC3\xA9",
                                          "two\nlines",
                                          "%41"};
  for (const std::string& text : texts) {
    SettingsPreferences(path_).setString("Tallyrig.Appearance", text);
    EXPECT_EQ(SettingsPreferences(path_).string("Tallyrig.Appearance"), text);
  }
}

TEST_F(SettingsPreferencesTest, SavingWritesTheFileAtOnce) {
  SettingsPreferences preferences(path_);
  preferences.setString("Tallyrig.Appearance", "Light");
  EXPECT_EQ(readWhole(path_), "");
  preferences.save();
  EXPECT_EQ(readWhole(path_), "[General]\nTallyrig.Appearance=Light\n");
}

TEST_F(SettingsPreferencesTest, KeysKeepApart) {
  SettingsPreferences preferences(path_);
  preferences.setString("Tallyrig.GlobalTileSize", "Large");
  preferences.setString("Tallyrig.Appearance", "Light");
  preferences.setString("Tallyrig.GlobalTileSize", "Small");
  EXPECT_EQ(preferences.string("Tallyrig.GlobalTileSize"), "Small");
  EXPECT_EQ(preferences.string("Tallyrig.Appearance"), "Light");
}

TEST_F(SettingsPreferencesTest, AValueThatIsNoTextIsAbsent) {
  std::ofstream(path_) << "[General]\nTallyrig.Appearance=one, two\nTallyrig.GlobalTileSize=@Size(3 4)\n";
  const SettingsPreferences preferences(path_);
  EXPECT_EQ(preferences.string("Tallyrig.Appearance"), std::nullopt);
  EXPECT_EQ(preferences.string("Tallyrig.GlobalTileSize"), std::nullopt);
}

TEST_F(SettingsPreferencesTest, TheUsersOwnFileIsNamedAfterTheProgram) {
  QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, folder_.path());
  SettingsPreferences().setString("Tallyrig.Appearance", "Dark");
  EXPECT_TRUE(std::filesystem::exists(folder_.filePath("Tallyrig/Tallyrig.conf").toStdString()));
  EXPECT_EQ(SettingsPreferences().string("Tallyrig.Appearance"), "Dark");
}

}  // namespace
}  // namespace tallyrig
