#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/AudioSystem.h"
#include "platform/Lifetime.h"
#include "platform/MediaFile.h"
#include "platform/SampleRateConverter.h"
#include "platform/SerialQueue.h"
#include "platform/Subscription.h"
#include "player/MediaAudioEngine.h"
#include "player/StreamingMediaAudio.h"
#include "player/StreamingMediaPlaybackSession.h"

namespace tallyrig {

/// Plays the channels of a media file on chosen channels of a chosen output device. Each position and each routing is
/// a new session, which is heard once a quarter of a second of it has been decoded.
///
/// Main thread, the callbacks too. They must not destroy the router.
class FileMediaAudioRouter {
 public:
  FileMediaAudioRouter(AudioSystem& audio, Scheduler& scheduler, MediaFiles& files, SampleRateConverters& converters);
  ~FileMediaAudioRouter();
  FileMediaAudioRouter(const FileMediaAudioRouter&) = delete;
  FileMediaAudioRouter& operator=(const FileMediaAudioRouter&) = delete;

  /// The present session has primed: it is heard, if it is wanted.
  std::function<void()> onReady;
  /// A session begins to prime; until it is ready there is silence.
  std::function<void()> onBuffering;
  /// Where the picture is, in seconds; absent while it is on its way to a place. Sound that is not there when it begins
  /// is brought there: it waits, or passes over a piece. From a standstill within a picture of 1/25 s is near enough,
  /// and the first sample heard is the one asked for. Without this the sound begins at once.
  std::function<std::optional<double>()> picturePosition;
  /// There is no session any more; a text for the user. A new `prepare` or `restart` may mend it.
  std::function<void(const std::string&)> onFailure;

  /// Takes a file and a routing, and begins to prime its first session, at position 0, which is not to be heard yet.
  /// A device that is absent is the system's default. Returns why this failed; `onFailure` is not called for that.
  std::optional<std::string> prepare(const StreamingMediaAudio& stream, std::vector<int> assignments,
                                     int outputChannelCount, std::optional<AudioDeviceID> outputDeviceID);
  /// A new session from `position` on, in seconds, with the routing as it is.
  void restart(const StreamingMediaAudio& stream, double position, bool wantsPlayback);
  /// Another routing, if it is another or if there is no session: then a new session from `position` on. An output that
  /// the device does not have becomes none. Returns why this failed, as told to `onFailure` too.
  std::optional<std::string> applyRouting(std::optional<AudioDeviceID> outputDeviceID, int outputChannelCount,
                                          std::vector<int> assignments, double position);
  /// Ends session, decoding and device, and forgets the file.
  void stop();

  /// Pauses or resumes. A resume is immediate, for the session keeps what it has decoded.
  void setPlayback(bool playing);

  /// The stream that the present session plays; absent if there is none.
  std::optional<StreamingMediaAudio> stream() const;
  /// False if there is no session.
  bool wantsPlayback() const { return session_ && session_->wantsPlayback(); }
  bool isReady() const { return isReady_; }

 private:
  std::optional<std::string> begin(const StreamingMediaAudio& stream, double position, bool wantsPlayback);
  std::optional<std::string> configure(const StreamingMediaAudio& stream);
  void startDecoder(double position);
  void endSession();
  void endWith(const std::string& failure);
  void handleReady(const std::shared_ptr<StreamingMediaPlaybackSession>& session);
  void handleFailure(const std::shared_ptr<StreamingMediaPlaybackSession>& session, const std::string& text);
  void checkDevice();
  /// Lets the session be heard once it is no further from the picture than `together`, in seconds.
  void beginRendering(const std::shared_ptr<StreamingMediaPlaybackSession>& session, double together, int looks);
  std::int64_t maximumFramesToRender(AudioDeviceID device) const;

  AudioSystem& audio_;
  Scheduler& scheduler_;
  MediaFiles& files_;
  SampleRateConverters& converters_;
  const std::shared_ptr<SerialQueue> decodingQueue_;

  std::shared_ptr<StreamingMediaPlaybackSession> session_;
  /// What was last prepared, also after a failure; absent after `stop`.
  std::optional<StreamingMediaAudio> loadedStream_;
  std::vector<int> pendingAssignments_;
  int pendingOutputChannelCount_ = 0;
  std::optional<AudioDeviceID> outputDeviceID_;
  /// Where the session began, in seconds, and on which device.
  double startPosition_ = 0;
  AudioDeviceID deviceInUse_ = 0;
  bool isReady_ = false;
  MediaAudioEngine engine_;
  Subscription deviceListObserver_;
  Lifetime lifetime_;
};

}  // namespace tallyrig
