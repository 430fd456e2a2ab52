#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/Lifetime.h"
#include "platform/SerialQueue.h"
#include "platform/mpv/MpvHandles.h"
#include "platform/mpv/MpvPainters.h"
#include "platform/mpv/MpvPictures.h"
#include "platform/mpv/PlayingPosition.h"

namespace tallyrig {

/// A movie player on one libmpv core. All commands are sent without waiting for the core; what it answers arrives as
/// events on the main queue. Main thread.
class MpvMoviePlayer final : public MoviePlayer {
 public:
  /// Empty if libmpv refuses.
  static std::unique_ptr<MpvMoviePlayer> create(SerialQueue& mainQueue, const std::string& audioDrivers);
  ~MpvMoviePlayer() override;

  State state() const override;
  void load(const std::filesystem::path& file) override;
  void clear() override;
  void play() override { setPaused(false); }
  void pause() override { setPaused(true); }
  void seek(double seconds) override;
  void setMuted(bool muted) override;
  void setOutputDevice(const std::optional<std::string>& name) override;
  void setPictureSize(int width, int height) override;
  std::shared_ptr<MoviePainters> usePainters() override;

 private:
  /// What the wake-up callback needs, on whatever thread libmpv calls it.
  struct Wake {
    Wake(SerialQueue& queue, std::function<void()> read) : mainQueue(queue), readEvents(std::move(read)) {}

    SerialQueue& mainQueue;
    std::function<void()> readEvents;
    std::atomic<bool> isPosted{false};
  };
  struct Device {
    std::string name;
    std::string description;
  };

  explicit MpvMoviePlayer(SerialQueue& mainQueue) : mainQueue_(mainQueue) {}

  bool open(const std::string& audioDrivers);
  void stopPlaying();
  void sendLoad(const std::string& path);
  void painterReady();
  void setPaused(bool paused);
  void observePause();
  bool isPaused() const { return wantedPause_.value_or(reportedPause_); }
  void sendSeek(double seconds);
  void chooseDevice();
  void readEvents();
  void handle(const mpv_event& event);
  void handleReply(const mpv_event& event);
  void handleProperty(const mpv_event_property& property);
  void handleLoaded();
  void handleAnswer(const mpv_event& event);

  SerialQueue& mainQueue_;
  std::shared_ptr<Wake> wake_;
  MpvHandle handle_;
  /// One of the two draws.
  std::unique_ptr<MpvPictures> pictures_;
  std::shared_ptr<MpvPainters> painters_;
  bool isPainterReady_ = false;
  /// A file that waits for a painter.
  std::optional<std::string> waitingFile_;

  // What libmpv last told. It tells of changes only, so nothing here is ever reset.
  PlayingPosition reportedPosition_;
  bool reportedVideo_ = false;
  bool reportedPause_ = true;
  std::vector<Device> devices_;

  /// The file asked for last: the number of its request, and libmpv's of its entry once the request has been answered.
  std::uint64_t lastRequest_ = 0;
  std::uint64_t loadRequest_ = 0;
  std::optional<std::int64_t> wantedEntry_;
  std::int64_t startedEntry_ = 0;
  bool isLoaded_ = false;
  /// What was asked for holds until libmpv has told how it stands after that: at the end of the file it stays paused.
  std::uint64_t pauseRequest_ = 0;
  std::uint64_t pauseObservation_ = 0;
  std::optional<bool> wantedPause_;
  /// Where to go once the file is loaded, in seconds.
  std::optional<double> seekOnLoad_;
  /// A seek's target holds as position from the request until its picture is there.
  std::uint64_t seekRequest_ = 0;
  bool isSeekTaken_ = false;
  /// What is asked once a picture has come: whether it is an earlier seek's, and its time. 0 without a question.
  std::uint64_t seekingRequest_ = 0;
  std::uint64_t pictureRequest_ = 0;
  std::optional<double> seekTarget_;
  std::optional<std::string> outputDevice_;
  /// What libmpv has been told.
  std::string chosenDevice_ = "auto";
  Lifetime lifetime_;
};

}  // namespace tallyrig
