#pragma once

#include <QtQml/qqmlregistration.h>
#include <QObject>

#include "platform/Lifetime.h"
#include "platform/Log.h"
#include "platform/SerialQueue.h"
#include "reader/ReaderStore.h"

namespace tallyrig {

/// The life of the application as its windows show it: which of them stand open, what waits for a confirmation, and
/// the way from the first appearance to the end. Main thread.
class TallyrigApp : public QObject {
  Q_OBJECT
  QML_ELEMENT
  QML_UNCREATABLE("Made where the program is put together")
  Q_PROPERTY(bool aboutIsOpen MEMBER aboutIsOpen_ NOTIFY aboutIsOpenChanged)
  Q_PROPERTY(bool settingsIsOpen MEMBER settingsIsOpen_ NOTIFY settingsIsOpenChanged)
  /// The program's version, and its build where it has one.
  Q_PROPERTY(QString version READ version CONSTANT)
  Q_PROPERTY(QString build READ build CONSTANT)
  /// The question whether to quit is up.
  Q_PROPERTY(bool confirmingQuit READ confirmingQuit NOTIFY confirmingQuitChanged)
  /// The question whether to clear all cards is up.
  Q_PROPERTY(bool confirmingClearAll READ confirmingClearAll NOTIFY confirmingClearAllChanged)

 public:
  /// `build` is empty where builds are not counted.
  TallyrigApp(ReaderStore& store, SerialQueue& mainQueue, Log& log, const QString& build);

  SerialQueue& mainQueue() { return mainQueue_; }
  static QString version();
  QString build() const;
  bool confirmingQuit() const { return confirmingQuit_; }
  bool confirmingClearAll() const { return confirmingClearAll_; }

  /// Starts the saved cards and dismisses the tool windows, once, in the next step of the main queue. Later appearances
  /// do nothing.
  Q_INVOKABLE void mainWindowAppeared();

  /// Both the quit command and the main window's close button come here.
  Q_INVOKABLE void requestQuit();
  Q_INVOKABLE void cancelQuit();
  /// Lets the main window close and asks for the end a tenth of a second later.
  Q_INVOKABLE void confirmQuit();

  Q_INVOKABLE void requestClearAll();
  Q_INVOKABLE void cancelClearAll();
  Q_INVOKABLE void confirmClearAll();

 signals:
  void aboutIsOpenChanged();
  void settingsIsOpenChanged();
  void confirmingQuitChanged();
  void confirmingClearAllChanged();
  /// The tool window of that id is not to stand open.
  void toolWindowDismissed(const QString& id);
  /// The user has decided to quit: windows may close from here on.
  void confirmedApplicationQuit();
  /// The process is to end now.
  void terminationRequested();

 private:
  void setConfirmingQuit(bool confirming);
  void setConfirmingClearAll(bool confirming);

  ReaderStore& store_;
  SerialQueue& mainQueue_;
  Log& log_;
  const QString build_;
  bool didBootstrap_ = false;
  bool aboutIsOpen_ = false;
  bool settingsIsOpen_ = false;
  bool confirmingQuit_ = false;
  bool confirmingClearAll_ = false;
  Lifetime lifetime_;
};

}  // namespace tallyrig
