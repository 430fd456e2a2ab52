#pragma once

#include <QtQml/qqmlregistration.h>
#include <QObject>

#include "filetools/FileAnalyser.h"
#include "filetools/WAVGenerator.h"

namespace tallyrig {

/// Opens the state of a file tool's window. Main thread.
class FileTools : public QObject {
  Q_OBJECT
  QML_ELEMENT
  QML_UNCREATABLE("Made where the program is put together")

 public:
  /// What is given may be called on any thread, for as long as the scheduler lives.
  FileTools(Scheduler& scheduler, FileAnalyserOperations analyserOperations, WAVGenerator::Render render);

  /// Each belongs to the caller, which destroys it when its window closes.
  Q_INVOKABLE tallyrig::FileAnalyser* openFileAnalyser();
  Q_INVOKABLE tallyrig::WAVGenerator* openWAVGenerator();

 private:
  Scheduler& scheduler_;
  const FileAnalyserOperations analyserOperations_;
  const WAVGenerator::Render render_;
};

}  // namespace tallyrig
