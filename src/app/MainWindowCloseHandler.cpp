#include "app/MainWindowCloseHandler.h"

#include <QEvent>
#include <utility>

namespace tallyrig {

MainWindowCloseHandler::MainWindowCloseHandler(std::function<void()> onCloseRequest)
    : onCloseRequest_(std::move(onCloseRequest)) {}

void MainWindowCloseHandler::install(QWindow* window) {
  if (installedWindow_ == window) return;
  if (installedWindow_) installedWindow_->removeEventFilter(this);
  installedWindow_ = window;
  if (window) window->installEventFilter(this);
}

bool MainWindowCloseHandler::eventFilter(QObject* watched, QEvent* event) {
  if (watched != installedWindow_ || event->type() != QEvent::Close || allowsConfirmedQuit_) return false;
  event->ignore();
  onCloseRequest_();
  return true;
}

}  // namespace tallyrig
