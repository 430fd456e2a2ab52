#include "ui/Stage.h"

#include <QDropEvent>
#include <QMimeData>
#include <QPainter>
#include <cstring>
#include <memory>
#include <utility>

#include "support/LTCSignal.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;

/// A number that no device of the stage has.
constexpr std::uint32_t kAbsentDevice = 9999;

/// Bars of colour over a grey ramp, as a camera's test picture.
MoviePicture testPicture(int width, int height) {
  const int shownHeight = std::min(height, width * 9 / 16);
  const int shownWidth = shownHeight * 16 / 9;
  QImage image(width, height, QImage::Format_RGB32);
  image.fill(Qt::black);
  QPainter painter(&image);
  const QRect frame((width - shownWidth) / 2, (height - shownHeight) / 2, shownWidth, shownHeight);
  const QColor bars[] = {"#bfbfbf", "#bfbf00", "#00bfbf", "#00bf00", "#bf00bf", "#bf0000", "#0000bf"};
  for (int bar = 0; bar < 7; ++bar) {
    const int left = frame.left() + bar * shownWidth / 7;
    painter.fillRect(left, frame.top(), frame.left() + (bar + 1) * shownWidth / 7 - left, shownHeight * 3 / 4,
                     bars[bar]);
  }
  for (int step = 0; step < 16; ++step) {
    const int left = frame.left() + step * shownWidth / 16;
    painter.fillRect(left, frame.top() + shownHeight * 3 / 4, frame.left() + (step + 1) * shownWidth / 16 - left,
                     shownHeight - shownHeight * 3 / 4, QColor::fromHsv(0, 0, step * 17));
  }
  painter.end();
  MoviePicture picture{width, height, static_cast<int>(image.bytesPerLine()), {}};
  picture.pixels.assign(image.constBits(), image.constBits() + image.sizeInBytes());
  return picture;
}

/// Two minutes of sound at 48 kHz with LTC at 25 on one channel.
SimulatedMedia soundWithCode(int channels, int codeChannel) {
  constexpr std::int64_t kFrames = 120 * 48000;
  SimulatedMedia media = countedMedia(48000, channels, kFrames);
  auto signal = std::make_shared<LTCSignal>(MTCFrameRate::fps25, Timecode{10, 0, 0, 0, MTCFrameRate::fps25}, 48000);
  auto code = std::make_shared<std::vector<float>>(static_cast<std::size_t>(kFrames));
  for (std::size_t at = 0; at < code->size(); at += 4800)
    signal->fill(static_cast<std::int64_t>(at), std::span(*code).subspan(at, 4800));
  media.sample = [code, codeChannel](std::int64_t frame, int channel) {
    return channel == codeChannel ? (*code)[static_cast<std::size_t>(frame)] : 0.0F;
  };
  return media;
}

}  // namespace

Stage::Stage(std::vector<ReaderSnapshot> cards) {
  box = &rig.wall.world.audio().addDevice(
      {.name = "Stage Box 64", .inputGroups = {kChannels}, .outputGroups = {kChannels}});
  rig.wall.world.audio().addDevice({.name = "Console Return", .inputGroups = {8}, .outputGroups = {8}});
  for (const char* name : {"Show Control", "Lighting Desk"}) {
    rig.wall.world.midi().addSource(name);
    rig.wall.world.midi().addDestination(name);
  }
  for (int channel = 0; channel < kChannels; ++channel) feed(channel);
  for (std::size_t index = 0; index < cards.size(); ++index) {
    cards[index].sortOrder = static_cast<std::int64_t>(index);
    cards[index].id = QUuid::createUuidV5(QUuid(), QString::number(index));
  }
  rig.wall.world.files().put("/home/user/.local/share/Tallyrig/readers.json", *encodeSnapshots(cards));
  rig.build = "1";
  rig.analyserOperations = {[this](const auto&) {
                              return FileSummary{fileChannels, pictureRate};
                            },
                            [this](const auto&, const auto&, const auto&) { return outcome; },
                            [](const auto&, const auto&, const auto&) { return TimecodeTrackResult{}; }};
  addMediaFiles();
}

void Stage::open(AppearanceMode mode, QSize size) {
  rig.open();
  rig.store().setAppearanceOverride(mode);
  rig.window->resize(size);
  rig.runFor(2s);
}

void Stage::openSettings(std::size_t card) {
  rig.click(rig.find("settingsButton", rig.tile(card)));
}

void Stage::chooseOutput(const char* protocol) {
  rig.click(rig.find(QString("segment") + protocol, rig.find("outputProtocol")));
}

QQuickWindow* Stage::openTool(const char* id, const QString& title) {
  rig.windowManager->openWindow(id);
  rig.runFor(1s);
  return rig.windowTitled(title);
}

void Stage::drop(QQuickWindow* window, const QString& path) {
  QMimeData data;
  data.setUrls({QUrl::fromLocalFile(path)});
  const QPoint place(120, 100);
  QDragEnterEvent enter(place, Qt::CopyAction, &data, Qt::LeftButton, {});
  QCoreApplication::sendEvent(window, &enter);
  QDropEvent dropped(place, Qt::CopyAction, &data, Qt::LeftButton, {});
  QCoreApplication::sendEvent(window, &dropped);
}

void Stage::feed(int channel) {
  constexpr MTCFrameRate kRates[] = {MTCFrameRate::fps25, MTCFrameRate::fps30, MTCFrameRate::fps24,
                                     MTCFrameRate::fps2997};
  const MTCFrameRate rate = kRates[channel % 4];
  auto signal = std::make_shared<LTCSignal>(rate, Timecode{10 + channel % 12, (channel * 7) % 60, 30, 0, rate}, 48000,
                                            -2.0 - channel % 6 * 3.0);
  box->feed(channel, [this, channel, signal](std::int64_t position, std::span<float> samples) {
    if (connected[static_cast<std::size_t>(channel)]) signal->fill(position, samples);
  });
}

void Stage::addMediaFiles() {
  rig.mediaFiles.files["/media/Overture.mp3"] = soundWithCode(2, 1);
  rig.mediaFiles.files["/media/Opening film.mov"] = soundWithCode(8, 7);
  rig.movies.movies["/media/Overture.mp3"] = {120, false, {}};
  rig.movies.movies["/media/Opening film.mov"] = {120, true, testPicture};
}

ReaderSnapshot readerCard(const std::string& label, std::int64_t channel, const std::string& colour) {
  ReaderSnapshot card;
  card.label = label;
  card.backgroundColorHex = colour;
  card.selectedDeviceName = "Stage Box 64";
  card.selectedChannel = channel;
  return card;
}

ReaderSnapshot emitting(ReaderSnapshot card, std::int64_t channel) {
  card.outputProtocol = OutputProtocol::ltc;
  card.selectedOutputDeviceName = "Stage Box 64";
  card.selectedOutputChannel = channel;
  return card;
}

ReaderSnapshot generatorCard(const std::string& label, std::int64_t channel, const std::string& colour) {
  ReaderSnapshot card = emitting(readerCard(label, 0, colour), channel);
  card.cardRole = CardRole::generator;
  card.generatorFrameRate = MTCFrameRate::fps25;
  return card;
}

ReaderSnapshot shownAs(TileDisplayMode mode, ReaderSnapshot card) {
  card.displayMode = mode;
  return card;
}

ReaderSnapshot missing(ReaderSnapshot card) {
  card.selectedDeviceID = kAbsentDevice;
  card.selectedDeviceName = "Truck Return";
  return card;
}

}  // namespace tallyrig
