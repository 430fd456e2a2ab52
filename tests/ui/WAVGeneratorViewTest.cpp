#include "support/TemporaryFolder.h"
#include "ui/FileToolsWindow.h"

// Qt's own file panel leaves the textures of its pictures behind. From the sanitizers' run-time library, whose header
// is not part of the compiler's package. NOLINTBEGIN(bugprone-reserved-identifier): the names are given
extern "C" __attribute__((weak)) void __lsan_disable();
extern "C" __attribute__((weak)) void __lsan_enable();
// NOLINTEND(bugprone-reserved-identifier)

namespace tallyrig {
namespace {

class WAVGeneratorViewTest : public FileToolsWindow {
 protected:
  WAVGeneratorViewTest() { open("WAVGeneratorView", "width: 460; height: 420"); }
};

TEST_F(WAVGeneratorViewTest, FieldsTakeDigitsAndReturnMovesOn) {
  EXPECT_EQ(text("field0"), "01");
  click("field0");
  type("2a3");
  EXPECT_EQ(text("field0").toStdString(), "2a3");
  QTest::keyClick(window.get(), Qt::Key_Return);
  settle();
  EXPECT_EQ(text("field0"), "23");
  EXPECT_TRUE(find("field1")->hasActiveFocus());
  type("99");
  QTest::keyClick(window.get(), Qt::Key_Return);
  EXPECT_EQ(text("field1"), "59");
  EXPECT_TRUE(find("field2")->hasActiveFocus());
  QTest::keyClick(window.get(), Qt::Key_Return);
  QTest::keyClick(window.get(), Qt::Key_Return);
  EXPECT_FALSE(find("field3")->hasActiveFocus());
  click("field4");
  QTest::keyClick(window.get(), Qt::Key_Return);
  EXPECT_TRUE(find("field5")->hasActiveFocus());
  type("30");
  QTest::keyClick(window.get(), Qt::Key_Return);
  EXPECT_FALSE(find("field5")->hasActiveFocus());
  EXPECT_EQ(text("sizeEstimate"), QString::fromUtf8("≈ 8.2 MB · 1:30"));
}

TEST_F(WAVGeneratorViewTest, ChoicesChangeTheEstimate) {
  EXPECT_EQ(text("sizeEstimate"), QString::fromUtf8("≈ 5.5 MB · 1:00"));
  click("segment24-bit");
  EXPECT_EQ(text("sizeEstimate"), QString::fromUtf8("≈ 8.2 MB · 1:00"));
  click("segment44.1 kHz");
  EXPECT_EQ(text("sizeEstimate"), QString::fromUtf8("≈ 7.6 MB · 1:00"));
  click("segment29.97 DF");
  EXPECT_EQ(text("frameRate", "current"), "29.97 DF");
  EXPECT_EQ(text("levelText"), "-6 dBFS");
  find("level")->forceActiveFocus();
  QTest::keyClick(window.get(), Qt::Key_Right);
  settle();
  EXPECT_EQ(text("levelText"), "-5 dBFS");
}

TEST_F(WAVGeneratorViewTest, ALowerRateLowersTheFrames) {
  click("segment30");
  click("field3");
  type("29");
  QTest::keyClick(window.get(), Qt::Key_Return);
  EXPECT_EQ(text("field3"), "29");
  click("segment25");
  EXPECT_EQ(text("field3"), "24");
}

/// With a home of its own, in which the save panel begins.
class SavePanelTest : public FileToolsWindow {
 protected:
  SavePanelTest() {
    qputenv("HOME", folder_.path().c_str());
    if (__lsan_disable != nullptr) __lsan_disable();
    open("WAVGeneratorView", "width: 640; height: 560");
  }
  ~SavePanelTest() override {
    qputenv("HOME", home_);
    if (__lsan_enable != nullptr) __lsan_enable();
  }

  /// Qt's own panel: without a desktop there is no other.
  void save() {
    QQuickItem* button = nullptr;
    const auto shown = [&] { return (button = buttonOf(window->contentItem(), "Save")) != nullptr; };
    ASSERT_TRUE(QTest::qWaitFor(shown, 10000));
    settle();
    press(window.get(), button);
  }
  bool panelIsOpen() { return find("fileNameTextField") != nullptr; }

  /// The window that asks whether to replace a file.
  QQuickWindow* question() {
    for (QWindow* other : QGuiApplication::topLevelWindows()) {
      if (other != window.get() && other->isVisible()) return qobject_cast<QQuickWindow*>(other);
    }
    return nullptr;
  }
  void answer(const QString& button) {
    QQuickWindow* asking = question();
    ASSERT_NE(asking, nullptr);
    press(asking, find(button, asking->contentItem()));
  }

  static QQuickItem* buttonOf(QQuickItem* root, const QString& text) {
    if (!root->isVisible()) return nullptr;
    if (root->inherits("QQuickAbstractButton") && root->property("text") == text) return root;
    for (QQuickItem* child : root->childItems()) {
      if (QQuickItem* found = buttonOf(child, text)) return found;
    }
    return nullptr;
  }
  void press(QQuickWindow* in, QQuickItem* item) {
    ASSERT_NE(item, nullptr);
    QTest::mouseClick(in, Qt::LeftButton, {}, item->mapToScene(item->boundingRect().center()).toPoint());
    settle();
  }

  const QByteArray home_ = qgetenv("HOME");
  const TemporaryFolder folder_;
  const std::filesystem::path suggested_ = folder_ / "LTC_01000000_1mins_25fps_48x16.wav";
};

TEST_F(SavePanelTest, ANewFileIsWrittenWithoutAQuestion) {
  click("generate");
  save();
  EXPECT_EQ(question(), nullptr);
  EXPECT_EQ(rendered, std::vector{suggested_});
}

TEST_F(SavePanelTest, AFileThatIsThereIsReplacedOnlyIfTheUserSaysSo) {
  ASSERT_TRUE(writeWhole(suggested_, "a recording"));
  click("generate");
  save();
  ASSERT_TRUE(QTest::qWaitFor([&] { return question() != nullptr; }, 10000));
  EXPECT_EQ(question()->title(), QString::fromUtf8("Replace “LTC_01000000_1mins_25fps_48x16.wav”?"));
  EXPECT_TRUE(rendered.empty());

  answer("cancel");
  EXPECT_TRUE(QTest::qWaitFor([&] { return panelIsOpen() && question() == nullptr; }, 10000));
  EXPECT_TRUE(rendered.empty());

  save();
  ASSERT_TRUE(QTest::qWaitFor([&] { return question() != nullptr; }, 10000));
  answer("confirm");
  EXPECT_EQ(rendered, std::vector{suggested_});
  EXPECT_TRUE(QTest::qWaitFor([&] { return question() == nullptr; }, 10000));
}

}  // namespace
}  // namespace tallyrig
