#include "app/SettingsForms.h"

#include <QQmlEngine>

namespace tallyrig {

SettingsForms::SettingsForms(ReaderStore& store, const ReaderServices& services) : store_(store), services_(services) {}

ReaderSettingsForm* SettingsForms::open(ReaderInstance* reader) {
  if (!reader) return nullptr;
  auto* form = new ReaderSettingsForm(reader->shared_from_this(), store_, services_);
  QQmlEngine::setObjectOwnership(form, QQmlEngine::JavaScriptOwnership);
  return form;
}

}  // namespace tallyrig
