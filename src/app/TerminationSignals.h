#pragma once

#include <QObject>
#include <QSocketNotifier>
#include <memory>

namespace tallyrig {

/// Turns SIGTERM and SIGINT into a signal of the event loop, so that the program can end as if the user had quit it.
///
/// Must be made before any other thread, since threads inherit which signals they leave alone. Main thread.
class TerminationSignals : public QObject {
  Q_OBJECT

 public:
  TerminationSignals();
  ~TerminationSignals() override;

  /// From here on `requested` can come. Needs the application object.
  void listen();

 signals:
  void requested();

 private:
  int descriptor_ = -1;
  std::unique_ptr<QSocketNotifier> notifier_;
};

}  // namespace tallyrig
