#include "app/FileTools.h"

#include <utility>

namespace tallyrig {

FileTools::FileTools(Scheduler& scheduler, FileAnalyserOperations analyserOperations, WAVGenerator::Render render)
    : scheduler_(scheduler), analyserOperations_(std::move(analyserOperations)), render_(std::move(render)) {}

FileAnalyser* FileTools::openFileAnalyser() {
  return new FileAnalyser(scheduler_, analyserOperations_);
}

WAVGenerator* FileTools::openWAVGenerator() {
  return new WAVGenerator(scheduler_, render_);
}

}  // namespace tallyrig
