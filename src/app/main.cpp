#include <QtQml/qqmlextensionplugin.h>
#include <malloc.h>

#include <QGuiApplication>
#include <QIcon>
#include <QQmlApplicationEngine>
#include <QQuickWindow>
#include <chrono>
#include <filesystem>

#include "app/Appearance.h"
#include "app/DesktopColourScheme.h"
#include "app/FileTools.h"
#include "app/Fonts.h"
#include "app/MainWindowCloseHandler.h"
#include "app/MediaPlayers.h"
#include "app/RealtimeKit.h"
#include "app/SettingsForms.h"
#include "app/SoundServerWatch.h"
#include "app/TallyrigApp.h"
#include "app/TerminationSignals.h"
#include "app/WindowManager.h"
#include "audio/DeviceRegistry.h"
#include "audio/LTCAudioInputHub.h"
#include "platform/Log.h"
#include "platform/desktop/AsioScheduler.h"
#include "platform/desktop/FailoverAudioSystem.h"
#include "platform/desktop/FailoverMidiSystem.h"
#include "platform/desktop/LocalFileSystem.h"
#include "platform/desktop/LocalUserFiles.h"
#include "platform/desktop/QuitDeadline.h"
#include "platform/desktop/SettingsPreferences.h"
#include "platform/desktop/SystemClocks.h"
#include "platform/ffmpeg/FFmpegAudioFiles.h"
#include "platform/ffmpeg/FFmpegMediaFiles.h"
#include "platform/ffmpeg/FFmpegSampleRateConverters.h"
#include "platform/mpv/MpvMoviePlayers.h"
#include "platform/pipewire/PipeWireAudioSystem.h"
#include "platform/pipewire/PipeWireMidiSystem.h"
#include "platform/simulated/LoopbackAudioSystem.h"
#include "platform/simulated/LoopbackMidiSystem.h"
#include "platform/sndfile/SndfileAudioFiles.h"
#include "platform/sndfile/SndfileWavFiles.h"
#include "reader/ReaderStore.h"
#include "timecode/TimecodeRenderClock.h"

Q_IMPORT_QML_PLUGIN(TallyrigPlugin)

namespace {

using namespace tallyrig;

/// Several times what an end takes at its slowest, unless a file does not answer.
constexpr std::chrono::seconds kPatienceAtQuit{5};

/// Without a graphics card Qt would draw through an emulated one, which costs far more than its own renderer. A choice
/// that the user made by Qt's own settings stands.
void chooseRenderer() {
  for (const char* variable : {"QT_QUICK_BACKEND", "QSG_RHI_BACKEND"})
    if (qEnvironmentVariableIsSet(variable)) return;
  std::error_code error;
  for (const auto& node : std::filesystem::directory_iterator("/dev/dri", error))
    if (node.path().filename().native().starts_with("renderD")) return;
  QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
}

/// Each thread that decodes a clip would else take memory from a part of its own, and what is freed there serves no
/// other thread: a program that opens a clip now and then would grow for hours. No device callback allocates.
void shareMemory() {
  constexpr int kArenas = 2;
  mallopt(M_ARENA_MAX, kArenas);
}

}  // namespace

int main(int argc, char** argv) {
  shareMemory();
  TerminationSignals terminationSignals;
  chooseRenderer();
  // The pinned window shows what is behind it between the cards.
  QQuickWindow::setDefaultAlphaBuffer(true);
  QGuiApplication application(argc, argv);
  QGuiApplication::setApplicationName("Tallyrig");
  QGuiApplication::setApplicationVersion(TALLYRIG_VERSION);
  QGuiApplication::setDesktopFileName("org.tallyrig.Tallyrig");
  QGuiApplication::setWindowIcon(QIcon(":/qt/qml/Tallyrig/icons/tallyrig.svg"));
  QGuiApplication::setFont(interfaceFont());
  const QPalette systemPalette = QGuiApplication::palette();

  const SystemHostClock clock;
  const SystemWallClock wallClock;
  Log log(clock, wallClock);
  QuitDeadline quitDeadline(kPatienceAtQuit, log);
  // Read and written by work on the scheduler's threads, so they must outlive it.
  LocalUserFiles userFiles;
  const OpenBytes openBytes = [&userFiles](const std::filesystem::path& path, std::unique_ptr<ByteSource>& bytes) {
    return userFiles.openForReading(path, bytes);
  };
  FFmpegMediaFiles mediaFiles(openBytes);
  SndfileAudioFiles commonAudioFiles(openBytes);
  FFmpegAudioFiles audioFiles(commonAudioFiles, openBytes);
  SndfileWavFiles wavFiles;
  RealtimeKit realtimeKit(&QDBusConnection::systemBus, log);
  AsioScheduler scheduler([&realtimeKit](pid_t thread, int niceValue) { realtimeKit.raise(thread, niceValue); });
  SettingsPreferences preferences;
  LocalFileSystem files;
  const PipeWireServer server = openPipeWireServer();
  PipeWireAudioSystem soundServer(server, scheduler.mainQueue(), log);
  LoopbackAudioSystem loopback(clock);
  FailoverAudioSystem audio(soundServer, loopback, log);

  PipeWireMidiSystem midiServer(server, scheduler, clock, log);
  LoopbackMidiSystem midiLoopback(clock, scheduler);
  FailoverMidiSystem midi(midiServer, midiLoopback);
  DeviceRegistry registry(audio, midi, log);
  LTCAudioInputHub hub(audio, scheduler, log);
  MIDIOutputPortManager midiOutput(midi, log);
  OutputReservationRegistry reservations;
  const ReaderServices services{clock, wallClock, scheduler, log, audio, midi, registry, hub, midiOutput, reservations};
  ReaderStore store(services, preferences, files);
  TimecodeRenderClock renderClock(clock, scheduler, log);

  SettingsForms forms(store, services);
  SoundServerWatch soundServerWatch(audio, services, store);
  DesktopColourScheme desktop(QDBusConnection::sessionBus());
  Appearance appearance(store, desktop, systemPalette);
  TallyrigApp app(store, scheduler.mainQueue(), log, TALLYRIG_BUILD);
  // Under Wayland a window has no say in where it stands or what it stands above.
  WindowManager windowManager(preferences, clock, scheduler.mainQueue(),
                              !QGuiApplication::platformName().startsWith("wayland"));
  FFmpegSampleRateConverters converters;
  MpvMoviePlayers movies(scheduler.mainQueue());
  const FileAnalysisEngine analysis({mediaFiles, audioFiles, userFiles, clock});
  FileTools fileTools(scheduler,
                      {[analysis](const auto& url) { return analysis.summary(url); },
                       [analysis](const auto& url, const auto& channels, const auto& stop) {
                         return analysis.analyse(url, channels, stop);
                       },
                       [&userFiles, &quitDeadline](const auto& url, const Timecode& timecode, const auto& stop) {
                         const QuitDeadline::Hold untilWritten(quitDeadline);
                         return writeTimecodeTrack(userFiles, url, timecode, stop);
                       }},
                      [&wavFiles, &quitDeadline](const WAVStretch& stretch, const auto& url) {
                        const QuitDeadline::Hold untilWritten(quitDeadline);
                        return renderWAV(wavFiles, stretch, url);
                      });
  MediaPlayers mediaPlayers({audio, scheduler, mediaFiles, converters, movies,
                             FileAnalysisEngine({mediaFiles, audioFiles, userFiles, clock})});
  MainWindowCloseHandler closeHandler([&app] { app.requestQuit(); });
  QQmlApplicationEngine engine;
  engine.addImportPath("qrc:/qt/qml");
  engine.setInitialProperties({{"app", QVariant::fromValue(&app)},
                               {"windowManager", QVariant::fromValue(&windowManager)},
                               {"store", QVariant::fromValue(&store)},
                               {"renderClock", QVariant::fromValue(&renderClock)},
                               {"forms", QVariant::fromValue(&forms)},
                               {"soundServer", QVariant::fromValue(&soundServerWatch)},
                               {"appearance", QVariant::fromValue(&appearance)},
                               {"mediaPlayers", QVariant::fromValue(&mediaPlayers)},
                               {"fileTools", QVariant::fromValue(&fileTools)}});
  engine.load(QUrl("qrc:/qt/qml/Tallyrig/MainWindow.qml"));
  if (engine.rootObjects().isEmpty()) return 1;

  auto* window = qobject_cast<QWindow*>(engine.rootObjects().constFirst());
  closeHandler.install(window);
  windowManager.attach(window);
  window->show();

  QObject::connect(&app, &TallyrigApp::confirmedApplicationQuit, &closeHandler,
                   &MainWindowCloseHandler::allowConfirmedQuit);
  QObject::connect(&app, &TallyrigApp::terminationRequested, &application, &QGuiApplication::quit);
  QObject::connect(&application, &QGuiApplication::aboutToQuit, &store, &ReaderStore::saveReaders);
  QObject::connect(&application, &QGuiApplication::aboutToQuit, &application, [&] {
    preferences.save();
    quitDeadline.begin();
  });
  // A session that ends does not ask: `quit` would, since it goes by way of the windows.
  QObject::connect(&terminationSignals, &TerminationSignals::requested, &application, [] { QGuiApplication::exit(); });
  terminationSignals.listen();
  return QGuiApplication::exec();
}
