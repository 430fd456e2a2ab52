#include "system/SystemTest.h"

namespace tallyrig {

void SystemTest::SetUp() {
  screen_ = std::make_unique<VirtualScreen>();
  ASSERT_EQ(screen_->error(), "");
  program_ = std::make_unique<ProgramUnderTest>(screen_->display());
}

void SystemTest::startRig(const PipeWireRig::Options& options) {
  rig_ = std::make_unique<PipeWireRig>(options);
  program_->useSoundServer(rig_->environment());
}

testing::AssertionResult SystemTest::shows(const std::string& name, const std::function<bool(const QImage&)>& wanted,
                                           std::chrono::milliseconds limit) {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  do {
    const QImage picture = screen_->screenshot(name);
    if (!picture.isNull() && wanted(picture)) return testing::AssertionSuccess();
  } while (std::chrono::steady_clock::now() < deadline);
  return testing::AssertionFailure() << "the screen does not come to show what it should: see " << name
                                     << ".png. The program wrote:\n"
                                     << program_->process().output();
}

testing::AssertionResult SystemTest::showsDigits(const std::string& name, const std::string& colour,
                                                 const std::string& digits) {
  std::string seen;
  const auto result = shows(name, [&](const QImage& picture) {
    const auto card = findCard(picture, QColor(QString::fromStdString(colour)));
    seen = card ? readDigits(picture, *card).value_or("no digits") : "no card";
    return seen == digits;
  });
  if (result) return result;
  return testing::AssertionFailure() << "wanted " << digits << ", saw " << seen << "; " << result.message();
}

testing::AssertionResult SystemTest::showsBorder(const std::string& name, const std::string& colour, QColor border) {
  return shows(name, [&](const QImage& picture) {
    const auto card = findCard(picture, QColor(QString::fromStdString(colour)));
    return card && borderShare(picture, *card, border) > 0.9;
  });
}

testing::AssertionResult SystemTest::press(CardButton button, const std::string& colour) {
  return pressOn(colour,
                 [&](const QRect& card) { return QPoint(card.right() - static_cast<int>(button), card.top() + 16); });
}

testing::AssertionResult SystemTest::pressAction(const std::string& colour) {
  return pressOn(colour, actionButton);
}

testing::AssertionResult SystemTest::pressOn(const std::string& colour,
                                             const std::function<QPoint(const QRect&)>& where) {
  std::optional<QRect> card;
  const auto result = shows("before-press", [&](const QImage& picture) {
    card = findCard(picture, QColor(QString::fromStdString(colour)));
    return card.has_value();
  });
  if (!result) return result;
  return screen_->click(where(*card)) ? testing::AssertionSuccess() : testing::AssertionFailure() << "xdotool failed";
}

testing::AssertionResult SystemTest::pressApply() {
  // The lowest wide stretch of the blue that the chosen and the chief things have.
  constexpr QRgb kAccent = qRgb(51, 102, 150);
  QPoint place;
  const auto result = shows("settings", [&](const QImage& picture) {
    for (int y = picture.height() - 1; y >= 0; --y) {
      int count = 0;
      int sum = 0;
      for (int x = 0; x < picture.width(); ++x) {
        if (picture.pixel(x, y) != kAccent) continue;
        ++count;
        sum += x;
      }
      if (count < 250) continue;
      place = {sum / count, y - 5};
      return true;
    }
    return false;
  });
  if (!result) return result;
  return screen_->click(place) ? testing::AssertionSuccess() : testing::AssertionFailure() << "xdotool failed";
}

testing::AssertionResult SystemTest::pressAddReader() {
  const auto window = screen_->window("Tallyrig");
  if (!window) return testing::AssertionFailure() << "there is no window";
  const bool pressed = screen_->clickIn("Tallyrig", {window->width() - 187, 23});
  return pressed ? testing::AssertionSuccess() : testing::AssertionFailure() << "xdotool failed";
}

}  // namespace tallyrig
