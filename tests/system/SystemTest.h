#pragma once

#include <gtest/gtest.h>

#include <QImage>
#include <functional>
#include <memory>
#include <string>

#include "support/PipeWireRig.h"
#include "system/CardPicture.h"
#include "system/ProgramUnderTest.h"
#include "system/VirtualScreen.h"

namespace tallyrig {

/// The program, a screen and a private sound server, new for each test.
class SystemTest : public testing::Test {
 protected:
  void SetUp() override;

  /// Once, before the program starts. Without it there is no sound server.
  void startRig(const PipeWireRig::Options& options = {});
  PipeWireRig& rig() { return *rig_; }
  VirtualScreen& screen() { return *screen_; }
  ProgramUnderTest& program() { return *program_; }

  /// Takes pictures of the screen until one is as wanted. The last one is kept as {name}.png.
  testing::AssertionResult shows(const std::string& name, const std::function<bool(const QImage&)>& wanted,
                                 std::chrono::milliseconds limit = std::chrono::seconds(10));
  /// Whether the card of this colour comes to show these digits.
  testing::AssertionResult showsDigits(const std::string& name, const std::string& colour, const std::string& digits);

  /// Whether the card of this colour comes to have a border of that one.
  testing::AssertionResult showsBorder(const std::string& name, const std::string& colour, QColor border);

  /// The buttons in a card's top right corner, by their distance from its right edge.
  enum class CardButton { kMode = 69, kSettings = 41, kRemove = 16 };
  testing::AssertionResult press(CardButton button, const std::string& colour);
  /// The button at the foot of a card: START, STOP, JAM SYNC or STOP JAM.
  testing::AssertionResult pressAction(const std::string& colour);
  /// The button at the foot of a card's settings, once they stand open. In the light appearance.
  testing::AssertionResult pressApply();
  /// The first of the buttons in the window's top right corner.
  testing::AssertionResult pressAddReader();

 private:
  /// Clicks at the place that `where` finds on the card of this colour.
  testing::AssertionResult pressOn(const std::string& colour, const std::function<QPoint(const QRect&)>& where);

  std::unique_ptr<VirtualScreen> screen_;
  std::unique_ptr<PipeWireRig> rig_;
  std::unique_ptr<ProgramUnderTest> program_;
};

}  // namespace tallyrig
