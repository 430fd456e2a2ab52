#pragma once

#include <QtQml/qqmlregistration.h>

#include "filetools/FileAnalyser.h"
#include "filetools/WAVGenerator.h"
#include "player/FileMediaPlayer.h"
#include "reader/ReaderInstance.h"
#include "reader/ReaderSettingsForm.h"
#include "reader/ReaderStore.h"
#include "timecode/TimecodeRenderClock.h"

namespace tallyrig {

// The engine's objects under the names that the views know them by. Views get them; they never make one.

struct ReaderInstanceType {
  Q_GADGET
  QML_FOREIGN(tallyrig::ReaderInstance)
  QML_NAMED_ELEMENT(ReaderInstance)
  QML_UNCREATABLE("Cards are made by the store")
};

struct FileMediaPlayerType {
  Q_GADGET
  QML_FOREIGN(tallyrig::FileMediaPlayer)
  QML_NAMED_ELEMENT(FileMediaPlayer)
  QML_UNCREATABLE("Players are opened by MediaPlayers")
};

struct FileMediaPlayerModelType {
  Q_GADGET
  QML_FOREIGN(tallyrig::FileMediaPlayerModel)
  QML_NAMED_ELEMENT(FileMediaPlayerModel)
  QML_UNCREATABLE("A part of FileMediaPlayer")
};

struct ReaderStoreType {
  Q_GADGET
  QML_FOREIGN(tallyrig::ReaderStore)
  QML_NAMED_ELEMENT(ReaderStore)
  QML_UNCREATABLE("There is one store")
};

struct ReaderSettingsFormType {
  Q_GADGET
  QML_FOREIGN(tallyrig::ReaderSettingsForm)
  QML_NAMED_ELEMENT(ReaderSettingsForm)
  QML_UNCREATABLE("Forms are opened by SettingsForms")
};

struct GeneratorStartSettingsType {
  Q_GADGET
  QML_FOREIGN(tallyrig::GeneratorStartSettings)
  QML_NAMED_ELEMENT(GeneratorStartSettings)
  QML_UNCREATABLE("A part of ReaderSettingsForm")
};

struct OutputSettingsType {
  Q_GADGET
  QML_FOREIGN(tallyrig::OutputSettings)
  QML_NAMED_ELEMENT(OutputSettings)
  QML_UNCREATABLE("A part of ReaderSettingsForm")
};

struct TimecodeRenderClockType {
  Q_GADGET
  QML_FOREIGN(tallyrig::TimecodeRenderClock)
  QML_NAMED_ELEMENT(TimecodeRenderClock)
  QML_UNCREATABLE("There is one render clock")
};

struct FileAnalyserType {
  Q_GADGET
  QML_FOREIGN(tallyrig::FileAnalyser)
  QML_NAMED_ELEMENT(FileAnalyser)
  QML_UNCREATABLE("Opened by FileTools")
};

struct WAVGeneratorType {
  Q_GADGET
  QML_FOREIGN(tallyrig::WAVGenerator)
  QML_NAMED_ELEMENT(WAVGenerator)
  QML_UNCREATABLE("Opened by FileTools")
};

}  // namespace tallyrig
