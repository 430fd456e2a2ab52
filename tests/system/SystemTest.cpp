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

}  // namespace tallyrig
