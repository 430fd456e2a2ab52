#include "app/GridMetrics.h"

#include <algorithm>
#include <cmath>

namespace tallyrig {

namespace {

constexpr double kHorizontalMargin = 64;
constexpr double kVerticalMargin = 48;
constexpr double kPinnedMargin = 8;
constexpr double kEmptyHeight = 220;
constexpr double kLeastHeight = 72;

double fullHeight(TileSize size) {
  switch (size) {
    case TileSize::small:
      return 88;
    case TileSize::medium:
      return 124;
    case TileSize::large:
      return 190;
  }
  return 0;
}

double heightScale(TileDisplayMode mode) {
  switch (mode) {
    case TileDisplayMode::full:
      return 1.0;
    case TileDisplayMode::compact:
      return 0.72;
    case TileDisplayMode::minimal:
      return 0.48;
  }
  return 0;
}

}  // namespace

int GridMetrics::tileMinimumWidthFor(TileSize size) {
  switch (size) {
    case TileSize::small:
      return 220;
    case TileSize::medium:
      return 320;
    case TileSize::large:
      return 460;
  }
  return 0;
}

double GridMetrics::minimumWidthFor(TileSize size, bool pinned) {
  return tileMinimumWidthFor(size) + (pinned ? kPinnedMargin : kHorizontalMargin);
}

double GridMetrics::minimumHeightFor(TileSize size, const std::vector<TileDisplayMode>& modes, bool pinned) {
  if (modes.empty()) return kEmptyHeight;
  double smallest = 1;
  for (const TileDisplayMode mode : modes) smallest = std::min(smallest, heightScale(mode));
  return std::max(kLeastHeight, fullHeight(size) * smallest + (pinned ? kPinnedMargin : kVerticalMargin));
}

void GridMetrics::setStore(ReaderStore* store) {
  if (store_ == store) return;
  if (store_) store_->disconnect(this);
  store_ = store;
  if (store_) {
    connect(store_, &ReaderStore::globalTileSizeChanged, this, &GridMetrics::recompute);
    connect(store_, &ReaderStore::countChanged, this, &GridMetrics::watchReaders);
  }
  emit storeChanged();
  watchReaders();
}

void GridMetrics::setPinned(bool pinned) {
  if (pinned_ == pinned) return;
  pinned_ = pinned;
  emit pinnedChanged();
  recompute();
}

void GridMetrics::watchReaders() {
  if (!store_) return;
  for (const auto& reader : store_->readers())
    connect(reader.get(), &ReaderInstance::settingsChanged, this, &GridMetrics::recompute, Qt::UniqueConnection);
  recompute();
}

void GridMetrics::recompute() {
  if (!store_) return;
  std::vector<TileDisplayMode> modes;
  for (const auto& reader : store_->readers()) modes.push_back(reader->settings().displayMode);
  const TileSize size = store_->globalTileSize();
  const auto whole = [](double length) { return static_cast<int>(std::ceil(length)); };
  const int tileWidth = tileMinimumWidthFor(size);
  const int width = whole(minimumWidthFor(size, pinned_));
  const int height = whole(minimumHeightFor(size, modes, pinned_));
  if (tileWidth == tileMinimumWidth_ && width == minimumWidth_ && height == minimumHeight_) return;
  tileMinimumWidth_ = tileWidth;
  minimumWidth_ = width;
  minimumHeight_ = height;
  emit changed();
}

}  // namespace tallyrig
