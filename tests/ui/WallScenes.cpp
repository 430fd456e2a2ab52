#include "ui/Stage.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;

std::vector<ReaderSnapshot> mixedCards() {
  ReaderSnapshot midi = readerCard("Lighting", 0, "#1A3A3A");
  midi.sourceType = SourceType::mtc;
  midi.selectedMIDISourceName = "Lighting Desk";
  return {
      readerCard("Playback A", 0),
      emitting(readerCard("FOH desk", 2, "#6E3D00"), 40),
      generatorCard("Show clock", 41),
      shownAs(TileDisplayMode::compact, emitting(readerCard("A monitor feed with a very long name", 1, "#005C6E"), 42)),
      shownAs(TileDisplayMode::compact, readerCard("Light card", 4, "#F2E6C8")),
      shownAs(TileDisplayMode::compact, missing(readerCard("OB truck", 6, "#1A2A1A"))),
      shownAs(TileDisplayMode::minimal, readerCard("House", 3, "#3A1A2A")),
      shownAs(TileDisplayMode::minimal, readerCard("Stage left", 5, "#C8D8E8")),
      midi};
}

/// A line of each channel of the stage box.
std::vector<ReaderSnapshot> lines(TileDisplayMode mode, int count) {
  std::vector<ReaderSnapshot> cards;
  for (int channel = 0; channel < count; ++channel)
    cards.push_back(shownAs(mode, readerCard("Line " + std::to_string(channel + 1), channel,
                                             cardPalette()[static_cast<std::size_t>(channel / 8)])));
  return cards;
}

std::vector<ReaderSnapshot> jamCards() {
  std::vector<ReaderSnapshot> cards;
  for (const auto& [label, channel] :
       {std::pair("Waiting to be jammed", 1), std::pair("No input yet", 0), std::pair("On its input", 2),
        std::pair("Input lost", 3), std::pair("Input just come", 4), std::pair("Input back", 5)})
    cards.push_back(emitting(readerCard(label, channel, cardPalette()[cards.size()]), 40 + channel));
  return cards;
}

/// One card in each state of a jam.
void jamInEachState(Stage& stage) {
  for (std::size_t channel : {0, 4}) stage.connected[channel] = false;
  stage.rig.runFor(2s);
  for (std::size_t card = 1; card < 6; ++card) stage.rig.click(stage.rig.find("jamButton", stage.rig.tile(card)));
  stage.rig.runFor(2s);
  stage.connected[3] = stage.connected[5] = false;
  stage.rig.runFor(2600ms);
  // Both are passing states of some frames; the signals come so that they are there together.
  const auto shows = [&](std::size_t card, const char* state) {
    return stage.rig.text("statusText", stage.rig.tile(card)) == state;
  };
  stage.connected[4] = stage.connected[5] = true;
  for (int step = 0; step < 300 && !(shows(4, "ACQUIRING") && shows(5, "REACQUIRING")); ++step)
    stage.rig.runUnseen(2ms);
  stage.rig.runFor(2ms);
}

void startAndJam(Stage& stage) {
  stage.rig.click(stage.rig.find("startButton"));
  stage.rig.click(stage.rig.find("jamButton", stage.rig.tile(1)));
  stage.rig.runFor(1s);
}

void startGenerators(Stage& stage) {
  for (QQuickItem* button : stage.rig.findAll("startButton")) stage.rig.click(button);
  stage.rig.runFor(1s);
}

std::vector<ReaderSnapshot> warningCards() {
  ReaderSnapshot silent = generatorCard("No output device", 3, "#6E3D00");
  silent.selectedOutputDeviceName.reset();
  const ReaderSnapshot dark = missing(readerCard("Missing input", 0));
  const ReaderSnapshot light = missing(readerCard("Missing, on a light card", 0, "#F2E6C8"));
  ReaderSnapshot midi = readerCard("Missing MIDI", 0, "#005C6E");
  midi.sourceType = SourceType::mtc;
  midi.selectedMIDISourceName = "Bridge with a name that is too long for a line of a card of this size";
  return {dark,
          silent,
          light,
          shownAs(TileDisplayMode::compact, dark),
          shownAs(TileDisplayMode::minimal, midi),
          shownAs(TileDisplayMode::compact, light),
          midi};
}

std::function<void(Stage&)> withTileSize(TileSize size) {
  return [size](Stage& stage) {
    stage.rig.store().setGlobalTileSize(size);
    stage.rig.runFor(100ms);
    startAndJam(stage);
  };
}

}  // namespace

std::vector<Scene> wallScenes() {
  std::vector<ReaderSnapshot> longWall = mixedCards();
  for (ReaderSnapshot& card : lines(TileDisplayMode::full, 47)) longWall.push_back(std::move(card));
  return {
      {"empty", [](Stage&) {}, {}},
      {"one-card", [](Stage&) {}, {readerCard("Playback A", 0)}, {420, 320}},
      {"wall", startAndJam, mixedCards()},
      {"wall-narrow", startAndJam, mixedCards(), {900, 700}},
      {"wall-small", withTileSize(TileSize::small), mixedCards(), {760, 620}},
      {"wall-large", withTileSize(TileSize::large), mixedCards(), {1490, 800}},
      {"wall-4k", withTileSize(TileSize::large), longWall, {3840, 2160}, nullptr, true},
      {"sixty-four",
       [](Stage& stage) {
         stage.rig.store().setGlobalTileSize(TileSize::small);
         stage.rig.runFor(100ms);
       },
       lines(TileDisplayMode::compact, Stage::kChannels),
       {1920, 1080}},
      {"jam", jamInEachState, jamCards(), {1080, 520}},
      {"warnings", startGenerators, warningCards(), {1080, 640}},
      {"pinned",
       [](Stage& stage) {
         startAndJam(stage);
         stage.rig.click(stage.rig.find("pin"));
         stage.rig.runFor(1s);
       },
       mixedCards()},
  };
}

}  // namespace tallyrig
