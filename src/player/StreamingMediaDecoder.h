#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/MediaFile.h"
#include "platform/SampleRateConverter.h"
#include "platform/SerialQueue.h"
#include "player/StreamingMediaPlaybackSession.h"

namespace tallyrig {

/// Fills a session's ring from an exact position of the file until the file ends or the session is cancelled. It works
/// in short steps on a queue of its own and looks again every 5 ms while the ring is full. Where the device runs at
/// another rate than the file, the sound is converted before it enters the ring.
///
/// It keeps itself alive until it has ended; nobody waits for it.
class StreamingMediaDecoder : public std::enable_shared_from_this<StreamingMediaDecoder> {
 public:
  /// Called on the decoding queue, each at most once; a failure may follow `ready`.
  struct Reports {
    /// A quarter of a second is in the ring, or all that there is.
    std::function<void()> ready;
    /// With a text for the user. Not after the session has been cancelled.
    std::function<void(const std::string&)> failed;
  };

  StreamingMediaDecoder(std::shared_ptr<StreamingMediaPlaybackSession> session, double startSeconds, MediaFiles& files,
                        SampleRateConverters& converters, std::shared_ptr<SerialQueue> queue, Reports reports);

  /// Once, by whoever has claimed the session's decoder.
  void start();

 private:
  /// The file with its one reader, which must not outlive it.
  struct OpenFile {
    std::unique_ptr<MediaFile> file;
    std::unique_ptr<AudioReader> reader;
  };

  void open();
  bool openReader();
  bool makeConverter();
  void step();
  /// Reads the next piece of the file into `pending_`; false where it ends.
  bool readPiece();
  /// Moves frames from `pending_` to the ring; true when all have gone.
  bool offerPending();
  void reportReadyOnce();
  void finish();
  /// Reports and closes; always false.
  bool fail(const std::string& text);
  void close();
  void again(std::chrono::nanoseconds delay);

  const std::shared_ptr<StreamingMediaPlaybackSession> session_;
  const double startSeconds_;
  MediaFiles& files_;
  SampleRateConverters& converters_;
  const std::shared_ptr<SerialQueue> queue_;
  const Reports reports_;

  // Decoding queue only.
  std::shared_ptr<AudioReader> reader_;
  std::unique_ptr<SampleRateConverter> converter_;
  std::vector<float> piece_;
  /// Frames for the ring, and how many floats of them it has taken.
  std::vector<float> pending_;
  std::size_t offered_ = 0;
  /// Floats at the start of what the converter gives that lie before the position asked for.
  std::size_t surplus_ = 0;
  bool hasData_ = false;
  bool atEnd_ = false;
  bool reportedReady_ = false;
};

}  // namespace tallyrig
