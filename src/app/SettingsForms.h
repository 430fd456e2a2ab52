#pragma once

#include <QtQml/qqmlregistration.h>
#include <QObject>

#include "reader/ReaderServices.h"
#include "reader/ReaderSettingsForm.h"
#include "reader/ReaderStore.h"

namespace tallyrig {

/// Opens the settings of a card for the popover. Main thread.
class SettingsForms : public QObject {
  Q_OBJECT
  QML_ELEMENT
  QML_UNCREATABLE("Made where the program is put together")

 public:
  SettingsForms(ReaderStore& store, const ReaderServices& services);

  /// A form that belongs to the caller, which destroys it when the popover closes.
  Q_INVOKABLE tallyrig::ReaderSettingsForm* open(tallyrig::ReaderInstance* reader);

 private:
  ReaderStore& store_;
  ReaderServices services_;
};

}  // namespace tallyrig
