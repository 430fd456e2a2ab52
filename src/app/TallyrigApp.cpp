#include "app/TallyrigApp.h"

#include <QCoreApplication>
#include <chrono>

namespace tallyrig {
namespace {

using namespace std::chrono_literals;

constexpr const char* kConfirmedQuit = "Tallyrig.confirmedApplicationQuit";
const QString kUnknown = QStringLiteral("—");
/// Lets the question leave the screen before the windows do.
constexpr auto kTerminationDelay = 100ms;

}  // namespace

TallyrigApp::TallyrigApp(ReaderStore& store, SerialQueue& mainQueue, Log& log, const QString& build)
    : store_(store), mainQueue_(mainQueue), log_(log), build_(build) {}

QString TallyrigApp::version() {
  const QString version = QCoreApplication::applicationVersion();
  return version.isEmpty() ? kUnknown : version;
}

QString TallyrigApp::build() const {
  return build_.isEmpty() ? kUnknown : build_;
}

void TallyrigApp::mainWindowAppeared() {
  if (didBootstrap_) return;
  didBootstrap_ = true;
  mainQueue_.post(lifetime_.guard([this] {
    store_.startSavedReaders();
    for (const char* id : {"wav-generator", "file-analyser", "media-player"}) emit toolWindowDismissed(id);
  }));
}

void TallyrigApp::requestQuit() {
  setConfirmingQuit(true);
}

void TallyrigApp::cancelQuit() {
  setConfirmingQuit(false);
}

void TallyrigApp::confirmQuit() {
  if (!confirmingQuit_) return;
  log_.line(std::string("TallyrigApp: ") + kConfirmedQuit);
  emit confirmedApplicationQuit();
  setConfirmingQuit(false);
  mainQueue_.postAfter(kTerminationDelay, lifetime_.guard([this] { emit terminationRequested(); }));
}

void TallyrigApp::requestClearAll() {
  setConfirmingClearAll(true);
}

void TallyrigApp::cancelClearAll() {
  setConfirmingClearAll(false);
}

void TallyrigApp::confirmClearAll() {
  if (!confirmingClearAll_) return;
  setConfirmingClearAll(false);
  store_.clearAllReaders();
}

void TallyrigApp::setConfirmingQuit(bool confirming) {
  if (confirming == confirmingQuit_) return;
  confirmingQuit_ = confirming;
  emit confirmingQuitChanged();
}

void TallyrigApp::setConfirmingClearAll(bool confirming) {
  if (confirming == confirmingClearAll_) return;
  confirmingClearAll_ = confirming;
  emit confirmingClearAllChanged();
}

}  // namespace tallyrig
