#pragma once

#include <QObject>
#include <QPointer>
#include <QWindow>
#include <functional>

namespace tallyrig {

/// Stands between the main window and every wish to close it: until quitting has been confirmed the window stays, and
/// the wish becomes a question. Main thread.
class MainWindowCloseHandler : public QObject {
  Q_OBJECT

 public:
  explicit MainWindowCloseHandler(std::function<void()> onCloseRequest);

  /// Guards `window`, and no other from then on.
  void install(QWindow* window);
  /// From here on the window closes when asked to.
  void allowConfirmedQuit() { allowsConfirmedQuit_ = true; }

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  std::function<void()> onCloseRequest_;
  QPointer<QWindow> installedWindow_;
  bool allowsConfirmedQuit_ = false;
};

}  // namespace tallyrig
