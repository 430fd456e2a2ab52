// The Media Player's own view on a virtual screen, with real files, the real decoders and the real movie player. The
// program runs once for each way in which Qt Quick draws, as QT_QUICK_BACKEND says.

#include <gtest/gtest.h>

#include <QtQml/qqmlextensionplugin.h>
#include <QGuiApplication>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickView>
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>

#include "app/Fonts.h"
#include "app/MediaPlayers.h"
#include "platform/desktop/AsioScheduler.h"
#include "platform/desktop/LocalUserFiles.h"
#include "platform/desktop/SystemClocks.h"
#include "platform/ffmpeg/FFmpegMediaFiles.h"
#include "platform/ffmpeg/FFmpegSampleRateConverters.h"
#include "platform/mpv/MpvMoviePlayers.h"
#include "platform/simulated/LoopbackAudioSystem.h"
#include "platform/sndfile/SndfileAudioFiles.h"
#include "support/MediaFolder.h"
#include "system/VirtualScreen.h"

Q_IMPORT_QML_PLUGIN(TallyrigPlugin)

namespace tallyrig {
namespace {

using namespace std::chrono_literals;

/// Picture n of 100 is a grey of its own, at 25 a second.
const std::string kPictures =
    "-f lavfi -i \"color=black:s=64x48:r=25:d=4,format=yuv420p,geq=lum='20+2*N':cb=128:cr=128\" ";
const std::string kTone = "-f lavfi -i \"sine=1000:r=48000:d=4\" ";

class MediaPlayerWindowTest : public testing::Test {
 protected:
  void SetUp() override { open(); }
  void TearDown() override { close(); }

  void open() {
    view = std::make_unique<QQuickView>();
    view->engine()->addImportPath("qrc:/qt/qml");
    view->setInitialProperties({{"mediaPlayers", QVariant::fromValue(&players)}});
    view->setResizeMode(QQuickView::SizeRootObjectToView);
    view->resize(900, 560);
    view->setSource(QUrl("qrc:/qt/qml/Tallyrig/FileMediaPlayerView.qml"));
    ASSERT_NE(view->rootObject(), nullptr);
    view->show();
    workflow = view->rootObject()->property("workflow").value<FileMediaPlayer*>();
    ASSERT_NE(workflow, nullptr);
    ASSERT_TRUE(until([this] { return view->isExposed(); }));
  }

  void close() {
    workflow = nullptr;
    view.reset();
    QCoreApplication::processEvents();
  }

  void load(const std::string& path) { workflow->loadClip(QUrl::fromLocalFile(QString::fromStdString(path))); }

  void seek(double seconds) {
    workflow->scrub(seconds);
    workflow->commitScrub();
  }

  static bool until(const std::function<bool()>& condition, std::chrono::milliseconds limit = 30s) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
      if (std::chrono::steady_clock::now() > deadline) return false;
      QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 10);
    }
    return true;
  }

  /// What the window shows there, counted from the middle of the place for the picture in halves of its size.
  QColor shown(double x, double y) {
    const auto* const item = view->rootObject()->findChild<QQuickItem*>("moviePicture");
    const QPointF place = item->mapToScene({item->width() * (1 + x) / 2, item->height() * (1 + y) / 2});
    const QImage image = view->grabWindow();
    return image.pixelColor((place * image.width() / view->width()).toPoint());
  }

  /// The number that the grey in the middle stands for. Video's 16 to 235 is the screen's 0 to 255.
  int shownNumber() { return static_cast<int>(std::lround((shown(0, 0).green() * 219.0 / 255 + 16 - 20) / 2)); }

  bool isLoaded() const { return !workflow->isAnalysing() && !workflow->isAudioRoutePreparing(); }

  MediaFolder folder;
  SystemHostClock clock;
  AsioScheduler scheduler;
  LocalUserFiles userFiles;
  OpenBytes openBytes = [this](const std::filesystem::path& path, std::unique_ptr<ByteSource>& bytes) {
    return userFiles.openForReading(path, bytes);
  };
  FFmpegMediaFiles mediaFiles{openBytes};
  SndfileAudioFiles audioFiles{openBytes};
  LoopbackAudioSystem audio{clock};
  FFmpegSampleRateConverters converters;
  MpvMoviePlayers movies{scheduler.mainQueue(), "null"};
  MediaPlayers players{{audio, scheduler, mediaFiles, converters, movies,
                        FileAnalysisEngine({mediaFiles, audioFiles, userFiles, clock})}};
  std::unique_ptr<QQuickView> view;
  FileMediaPlayer* workflow = nullptr;
};

TEST_F(MediaPlayerWindowTest, IsDrawnTheWayThatThisRunIsFor) {
  const bool isSoftware = qgetenv("QT_QUICK_BACKEND") == "software";
  EXPECT_EQ(view->rendererInterface()->graphicsApi(),
            isSoftware ? QSGRendererInterface::Software : QSGRendererInterface::OpenGL);
}

TEST_F(MediaPlayerWindowTest, ShowsTheExactPictureOfEachSeek) {
  load(folder.make("counted.mov", kPictures + kTone + "-c:v libx264 -crf 4 -g 12 -bf 2 -c:a aac"));
  ASSERT_TRUE(until([&] { return workflow->hasVideo() && shownNumber() == 0; })) << shownNumber();
  for (const int number : {50, 1, 99, 98, 12, 77}) {
    seek(number / 25.0);
    EXPECT_TRUE(until([&] { return shownNumber() == number; })) << number << " but shown is " << shownNumber();
  }
  view->resize(1100, 700);
  EXPECT_TRUE(until([&] { return view->grabWindow().width() == 1100 && shownNumber() == 77; }))
      << "the present picture follows the window's size";
}

TEST_F(MediaPlayerWindowTest, PlaysToTheEndAndKeepsTheLastPicture) {
  load(folder.make("counted.mov", kPictures + kTone + "-c:v libx264 -crf 4 -g 12 -c:a aac"));
  // Before the first picture the place for it is black.
  ASSERT_TRUE(until([&] { return isLoaded() && workflow->hasVideo() && shownNumber() == 0; }));
  seek(2);
  workflow->togglePlayback();
  int last = 0;
  EXPECT_TRUE(until([&] {
    const int number = shownNumber();
    EXPECT_GE(number, number == 0 ? 0 : last) << "pictures come in order";
    last = number;
    return !workflow->isPlaying();
  }));
  EXPECT_TRUE(until([&] { return shownNumber() == 99; })) << shownNumber();
}

TEST_F(MediaPlayerWindowTest, ARotatedClipStandsUpright) {
  const std::string level = folder.make(
      "level.mp4", "-f lavfi -i \"color=red:s=64x32:r=25:d=1\" -vf \"drawbox=0:0:32:32:blue:fill\" -c:v libx264");
  load(folder.make("phone.mov", "-i '" + level + "' -c copy -metadata:s:v rotate=90"));
  EXPECT_TRUE(until([&] {
    const QColor above = shown(0, -0.5);
    const QColor below = shown(0, 0.5);
    return above.red() > 128 && above.blue() < 64 && below.blue() > 128 && below.red() < 64;
  })) << "the blue left half comes to stand below";
  EXPECT_LT(shown(0.9, 0).lightness(), 16) << "beside an upright picture there is black";
}

TEST_F(MediaPlayerWindowTest, AMovieOfUnevenPicturesShowsTheOneThatStandsThere) {
  load(folder.make("uneven.mp4",
                   "-f lavfi -i \"color=black:s=64x48:r=25:d=4,format=yuv420p,geq=lum='20+2*N':cb=128:cr=128,"
                   "select='not(mod(n\\,3)*mod(n\\,5))'\" -vsync vfr -c:v libx264 -crf 4"));
  ASSERT_TRUE(until([&] { return workflow->hasVideo() && shownNumber() == 0; }));
  for (const int number : {30, 6, 95}) {
    seek(number / 25.0);
    EXPECT_TRUE(until([&] { return shownNumber() == number; })) << number << " but shown is " << shownNumber();
  }
}

TEST_F(MediaPlayerWindowTest, AfterAMovieASoundFileShowsNoPicture) {
  load(folder.make("counted.mov", kPictures + "-c:v libx264 -crf 4"));
  ASSERT_TRUE(until([&] { return workflow->hasVideo(); }));
  seek(3);
  ASSERT_TRUE(until([&] { return shownNumber() == 75; }));
  load(folder.make("sound.flac", kTone));
  EXPECT_TRUE(until([&] { return isLoaded() && workflow->effectiveDuration() > 3.9; }));
  EXPECT_FALSE(workflow->hasVideo());
  EXPECT_EQ(workflow->audioRoutingError(), "");
  EXPECT_LT(shown(0.5, 0.5).lightness(), 16);
  workflow->togglePlayback();
  EXPECT_TRUE(until([&] { return workflow->shownPosition() > 0.3; }));
}

TEST_F(MediaPlayerWindowTest, AMovieWithoutSoundPlaysAndSaysSo) {
  load(folder.make("silent.mp4", kPictures + "-c:v libx264 -crf 4"));
  ASSERT_TRUE(until([&] { return isLoaded() && workflow->hasVideo(); }));
  EXPECT_EQ(workflow->audioRoutingError(), "Audio routing unavailable: No audio track was found.");
  workflow->togglePlayback();
  EXPECT_TRUE(until([&] { return shownNumber() > 20; }));
}

TEST_F(MediaPlayerWindowTest, WhatCannotBePlayedLeavesTheWindowUsable) {
  const std::string whole = folder.make("whole.mov", kPictures + kTone + "-c:v libx264 -c:a aac");
  const std::string bytes = readWhole(whole);
  writeWhole(folder.file("empty.mov"), "");
  writeWhole(folder.file("text.wav"), "no sound at all");
  // The header of a movie stands last.
  writeWhole(folder.file("cut.mov"), bytes.substr(0, bytes.size() / 2));
  for (const char* name : {"empty.mov", "text.wav", "cut.mov", "missing.mov"}) {
    load(folder.file(name));
    EXPECT_TRUE(until([&] { return isLoaded(); })) << name;
    EXPECT_EQ(workflow->audioRoutingError().left(27), "Audio routing unavailable: ") << name;
    EXPECT_NE(workflow->errorMessage(), "") << name;
    workflow->togglePlayback();
    seek(1);
    EXPECT_FALSE(workflow->hasVideo()) << name;
  }
  load(whole);
  EXPECT_TRUE(until([&] { return isLoaded() && workflow->hasVideo() && shownNumber() == 0; }));
  EXPECT_EQ(workflow->audioRoutingError(), "");
}

TEST_F(MediaPlayerWindowTest, AFileCutOffPlaysAsFarAsItGoes) {
  // A container whose header stands first.
  const std::string whole = folder.make("whole.mkv", kPictures + kTone + "-c:v libx264 -crf 4 -g 12 -c:a pcm_s16le");
  const std::string bytes = readWhole(whole);
  writeWhole(folder.file("cut.mkv"), bytes.substr(0, bytes.size() / 2));
  load(folder.file("cut.mkv"));
  ASSERT_TRUE(until([&] { return isLoaded() && workflow->hasVideo(); }));
  EXPECT_EQ(workflow->audioRoutingError(), "");
  workflow->togglePlayback();
  EXPECT_TRUE(until([&] { return shownNumber() > 20; }));
  EXPECT_TRUE(until([&] { return !workflow->isPlaying(); })) << "it ends where the file does";
}

TEST_F(MediaPlayerWindowTest, WhenTheSoundsFormatChangesTheClipsOwnSoundGoesOn) {
  const std::string tone = "-f lavfi -i \"sine=1000:r=";
  folder.make("first.ts", tone + "48000:d=2\" -c:a aac");
  folder.make("rate.ts", tone + "44100:d=2\" -c:a aac");
  folder.make("stereo.ts", tone + "48000:d=2\" -ac 2 -c:a aac");
  for (const char* second : {"rate.ts", "stereo.ts"}) {
    const std::string joined = folder.file(std::string("joined-") + second);
    writeWhole(joined, readWhole(folder.file("first.ts")) + readWhole(folder.file(second)));
    load(joined);
    ASSERT_TRUE(until([&] { return isLoaded(); }));
    workflow->togglePlayback();
    // The sound is decoded seconds ahead.
    EXPECT_TRUE(until([&] { return workflow->audioRoutingError() != ""; }));
    EXPECT_EQ(workflow->audioRoutingError(), "Input changed") << second;
    EXPECT_TRUE(until([&] { return workflow->isPlaying() && workflow->shownPosition() > 0.2; })) << "it plays on";
  }
}

TEST_F(MediaPlayerWindowTest, ABrokenPacketInTheMiddleEndsNothing) {
  const std::string whole = folder.make("whole.mkv", kPictures + kTone + "-c:v libx264 -crf 4 -g 12 -c:a libmp3lame");
  std::string bytes = readWhole(whole);
  const std::size_t middle = bytes.size() / 2;
  std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(middle), 3000, '\x5a');
  writeWhole(folder.file("broken.mkv"), bytes);
  load(folder.file("broken.mkv"));
  ASSERT_TRUE(until([&] { return isLoaded() && workflow->hasVideo(); }));
  workflow->togglePlayback();
  EXPECT_TRUE(until([&] { return workflow->shownPosition() > 3.5; }));
  EXPECT_EQ(workflow->audioRoutingError(), "");
}

TEST_F(MediaPlayerWindowTest, ClosingAtAnyMomentHangsNowhere) {
  const std::string movie =
      folder.make("long.mov",
                  "-f lavfi -i \"testsrc=s=640x360:r=25:d=20\" -f lavfi -i \"sine=1000:r=48000:d=20\" "
                  "-c:v libx264 -preset ultrafast -c:a aac");
  for (int moment = 0; moment < 8; ++moment) {
    if (!workflow) open();
    load(movie);
    if (moment > 0) until([&] { return !workflow->isAnalysing(); }, moment * 40ms);
    workflow->togglePlayback();
    if (moment > 1) until([&] { return workflow->shownPosition() > 0.1; }, moment * 40ms);
    if (moment > 3) seek(10);
    if (moment > 5) load(movie);
    const auto before = std::chrono::steady_clock::now();
    close();
    EXPECT_LT(std::chrono::steady_clock::now() - before, 10s) << moment;
  }
  open();
}

}  // namespace
}  // namespace tallyrig

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  const tallyrig::VirtualScreen screen;
  if (!screen.error().empty()) {
    std::fprintf(stderr, "%s\n", screen.error().c_str());
    return 1;
  }
  qputenv("DISPLAY", QByteArray::fromStdString(screen.display()));
  qputenv("QT_QPA_PLATFORM", "xcb");
  QGuiApplication application(argc, argv);
  QGuiApplication::setFont(tallyrig::interfaceFont());
  return RUN_ALL_TESTS();
}
