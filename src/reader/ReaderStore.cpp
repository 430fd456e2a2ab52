#include "reader/ReaderStore.h"

#include <algorithm>
#include <chrono>
#include <limits>
#include <utility>

#include "reader/QtText.h"

namespace tallyrig {
namespace {

using namespace std::chrono_literals;

constexpr const char* kTileSizeKey = "Tallyrig.GlobalTileSize";
constexpr const char* kAppearanceKey = "Tallyrig.Appearance";
constexpr const char* kPersistenceFileName = "readers.json";
/// More than ten thousand cards; a larger file is not one of ours.
constexpr std::uint64_t kLargestFile = 16U << 20U;
constexpr std::uint64_t kSaveDelayNanos = 500'000'000;
constexpr int kReaderRole = Qt::UserRole + 1;

}  // namespace

/// The debounced save of one card.
struct ReaderStore::Observation {
  HostTime lastChange;
  bool checkPending = false;
  QMetaObject::Connection connection;

  ~Observation() { QObject::disconnect(connection); }
};

const std::vector<std::string>& cardPalette() {
  static const std::vector<std::string> kPalette{"#2A3A6E", "#3D1E6E", "#005C6E", "#6E3D00",
                                                 "#1A3A3A", "#3A2A1A", "#1A2A1A", "#3A1A2A"};
  return kPalette;
}

ReaderStore::ReaderStore(const ReaderServices& services, Preferences& preferences, FileSystem& files)
    : services_(services), preferences_(preferences), files_(files) {
  if (const auto raw = preferences_.string(kTileSizeKey)) {
    globalTileSize_ = fromRawValue<TileSize>(*raw).value_or(globalTileSize_);
  }
  if (const auto raw = preferences_.string(kAppearanceKey)) {
    appearanceOverride_ = fromRawValue<AppearanceMode>(*raw).value_or(appearanceOverride_);
  }
  if (!loadReaders()) createDefaultReader();
}

ReaderStore::~ReaderStore() = default;

std::optional<std::filesystem::path> ReaderStore::persistenceURL() const {
  const auto folder = files_.applicationSupportDirectory();
  if (!folder) return std::nullopt;
  return *folder / "Tallyrig" / kPersistenceFileName;
}

bool ReaderStore::loadReaders() {
  const auto path = persistenceURL();
  if (!path) return false;
  std::string text;
  if (files_.readFile(*path, kLargestFile, text)) return false;
  auto snapshots = decodeSnapshots(text);
  if (!snapshots) return false;

  std::stable_sort(snapshots->begin(), snapshots->end(),
                   [](const auto& a, const auto& b) { return a.sortOrder < b.sortOrder; });
  std::vector<std::shared_ptr<ReaderInstance>> readers;
  for (auto& snapshot : *snapshots) {
    readers.push_back(std::make_shared<ReaderInstance>(services_, std::move(snapshot)));
  }
  replaceReaders(std::move(readers));
  lastSavedReadersData_ = std::move(text);
  return true;
}

void ReaderStore::createDefaultReader() {
  ReaderSnapshot settings;
  settings.label = "Reader 1";
  settings.tileSize = globalTileSize_;
  replaceReaders({std::make_shared<ReaderInstance>(services_, std::move(settings))});
  saveReaders();
}

void ReaderStore::observeReader(const std::shared_ptr<ReaderInstance>& reader) {
  auto observation = std::make_shared<Observation>();
  observation->connection =
      connect(reader.get(), &ReaderInstance::changed, this, [this, weak = std::weak_ptr(observation)] {
        const auto current = weak.lock();
        if (!current) return;
        current->lastChange = services_.clock.now();
        if (!current->checkPending) checkQuiet(current);
      });
  observations_[reader->settings().id] = std::move(observation);
}

void ReaderStore::checkQuiet(const std::shared_ptr<Observation>& observation) {
  const std::uint64_t quiet = services_.clock.nanosFromTicks(services_.clock.now() - observation->lastChange);
  if (observation->checkPending && quiet >= kSaveDelayNanos) {
    observation->checkPending = false;
    saveReaders();
    return;
  }
  observation->checkPending = true;
  services_.scheduler.mainQueue().postAfter(
      std::chrono::nanoseconds(kSaveDelayNanos - std::min(quiet, kSaveDelayNanos)),
      lifetime_.guard([this, weak = std::weak_ptr(observation)] {
        if (const auto current = weak.lock()) checkQuiet(current);
      }));
}

void ReaderStore::saveReaders() {
  std::vector<ReaderSnapshot> snapshots;
  for (const auto& reader : readers_) snapshots.push_back(reader->settings());
  auto bytes = encodeSnapshots(snapshots);
  if (!bytes || bytes == lastSavedReadersData_) return;
  writeReadersData(*bytes);
  lastSavedReadersData_ = std::move(bytes);
}

void ReaderStore::writeReadersData(const std::string& bytes) {
  const auto path = persistenceURL();
  if (!path) return;
  auto error = files_.createDirectories(path->parent_path());
  if (!error) error = files_.writeFileAtomically(*path, bytes);
  if (error) services_.log.line("ReaderStore: failed to save readers: " + error.message());
}

void ReaderStore::startSavedReaders() {
  if (didStartSavedReaders_) return;
  didStartSavedReaders_ = true;
  startUnstartedReaders();
}

void ReaderStore::startUnstartedReaders() {
  if (!didStartSavedReaders_) return;
  for (const auto& reader : readers_) {
    if (startedReaderIDs_.contains(reader->settings().id)) continue;
    reader->startMonitoring();
    startedReaderIDs_.insert(reader->settings().id);
  }
}

void ReaderStore::restartUnavailableReaders() {
  for (const auto& reader : readers_) {
    const bool isUnavailable = reader->settings().cardRole == CardRole::reader && reader->sourceAvailabilityWarning();
    if (isUnavailable && startedReaderIDs_.contains(reader->settings().id)) reader->startMonitoring();
  }
}

bool ReaderStore::addReader() {
  ReaderSnapshot settings;
  for (const auto& reader : readers_) {
    const std::int64_t order = reader->settings().sortOrder;
    if (order >= settings.sortOrder && order < std::numeric_limits<std::int64_t>::max()) settings.sortOrder = order + 1;
  }
  settings.backgroundColorHex = cardPalette()[readers_.size() % cardPalette().size()];
  settings.label = "Reader " + std::to_string(readers_.size() + 1);
  settings.tileSize = globalTileSize_;

  auto reader = std::make_shared<ReaderInstance>(services_, std::move(settings));
  beginInsertRows({}, count(), count());
  readers_.push_back(reader);
  endInsertRows();
  emit countChanged();
  observeReader(reader);
  reader->startMonitoring();
  startedReaderIDs_.insert(reader->settings().id);
  saveReaders();
  return true;
}

void ReaderStore::removeReader(ReaderInstance* reader) {
  const int index = indexOf(reader);
  if (index < 0) return;
  const QUuid id = reader->settings().id;
  reader->stopMonitoring();
  startedReaderIDs_.erase(id);
  // A damaged file can hold one identity twice; all its cards go.
  for (int row = count() - 1; row >= 0; --row) {
    if (readers_[static_cast<std::size_t>(row)]->settings().id != id) continue;
    beginRemoveRows({}, row, row);
    // The views still hold the card while they let go of its row.
    const auto removed = readers_[static_cast<std::size_t>(row)];
    readers_.erase(readers_.begin() + row);
    endRemoveRows();
    removed->stopMonitoring();
  }
  emit countChanged();
  observations_.erase(id);
  renumber();
  startUnstartedReaders();
  saveReaders();
}

void ReaderStore::clearAllReaders() {
  for (const auto& reader : readers_) reader->stopMonitoring();
  replaceReaders({});
  startedReaderIDs_.clear();
  saveReaders();
}

void ReaderStore::moveReader(int from, int to, bool save) {
  moveReaders({from}, from < to ? to + 1 : to, save);
}

void ReaderStore::moveReaders(const std::set<int>& fromOffsets, int toOffset, bool save) {
  const auto isMoved = [&](int row) { return fromOffsets.contains(row); };
  std::vector<std::shared_ptr<ReaderInstance>> wanted;
  const auto appendMoved = [&] {
    for (int row = 0; row < count(); ++row) {
      if (isMoved(row)) wanted.push_back(readers_[static_cast<std::size_t>(row)]);
    }
  };
  for (int row = 0; row < count(); ++row) {
    if (row == toOffset) appendMoved();
    if (!isMoved(row)) wanted.push_back(readers_[static_cast<std::size_t>(row)]);
  }
  if (toOffset >= count()) appendMoved();
  if (wanted.size() != readers_.size()) return;

  for (int row = 0; row < count(); ++row) {
    const auto& reader = wanted[static_cast<std::size_t>(row)];
    const int source = indexOf(reader.get());
    if (source == row) continue;
    beginMoveRows({}, source, source, {}, row);
    readers_.erase(readers_.begin() + source);
    readers_.insert(readers_.begin() + row, reader);
    endMoveRows();
  }
  renumber();
  if (save) saveReaders();
}

void ReaderStore::renumber() {
  for (std::size_t i = 0; i < readers_.size(); ++i) {
    readers_[i]->set(&ReaderSnapshot::sortOrder, static_cast<std::int64_t>(i));
  }
}

void ReaderStore::replaceReaders(std::vector<std::shared_ptr<ReaderInstance>> readers) {
  beginResetModel();
  observations_.clear();
  // The views still hold the old cards while they let go of the list.
  const auto previous = std::exchange(readers_, std::move(readers));
  endResetModel();
  for (const auto& reader : readers_) observeReader(reader);
  emit countChanged();
}

int ReaderStore::indexOf(const ReaderInstance* reader) const {
  const auto found = std::find_if(readers_.begin(), readers_.end(), [&](const auto& r) { return r.get() == reader; });
  return found == readers_.end() ? -1 : static_cast<int>(found - readers_.begin());
}

void ReaderStore::cycleDisplayMode(ReaderInstance* reader) {
  if (indexOf(reader) < 0) return;
  switch (reader->settings().displayMode) {
    case TileDisplayMode::full:
      reader->set(&ReaderSnapshot::displayMode, TileDisplayMode::compact);
      break;
    case TileDisplayMode::compact:
      reader->set(&ReaderSnapshot::displayMode, TileDisplayMode::minimal);
      break;
    case TileDisplayMode::minimal:
      reader->set(&ReaderSnapshot::displayMode, TileDisplayMode::full);
      break;
  }
  saveReaders();
}

bool ReaderStore::isLTCOutputAvailable(AudioDeviceID device, std::int64_t channel, const QUuid& excluding) const {
  return std::none_of(readers_.begin(), readers_.end(), [&](const auto& reader) {
    const ReaderSnapshot& other = reader->settings();
    return other.id != excluding && other.outputProtocol == OutputProtocol::ltc &&
           other.selectedOutputDeviceID == device && other.selectedOutputChannel == channel;
  });
}

bool ReaderStore::isMTCDestinationAvailable(const std::string& name, const QUuid& excluding) const {
  return std::none_of(readers_.begin(), readers_.end(), [&](const auto& reader) {
    const ReaderSnapshot& other = reader->settings();
    return other.id != excluding && other.outputProtocol == OutputProtocol::mtc &&
           other.selectedMIDIDestinationName == name;
  });
}

void ReaderStore::setGlobalTileSize(TileSize size) {
  const bool isNew = size != globalTileSize_;
  globalTileSize_ = size;
  preferences_.setString(kTileSizeKey, rawValue(size));
  if (isNew) emit globalTileSizeChanged();
  services_.scheduler.mainQueue().post(lifetime_.guard([this, size] {
    if (globalTileSize_ != size) return;
    for (const auto& reader : readers_) reader->set(&ReaderSnapshot::tileSize, size);
    saveReaders();
  }));
}

void ReaderStore::setAppearanceOverride(AppearanceMode mode) {
  const bool isNew = mode != appearanceOverride_;
  appearanceOverride_ = mode;
  preferences_.setString(kAppearanceKey, rawValue(mode));
  if (isNew) emit appearanceOverrideChanged();
}

QString ReaderStore::globalTileSizeText() const {
  return toQString(rawValue(globalTileSize_));
}

void ReaderStore::setGlobalTileSizeText(const QString& raw) {
  if (const auto size = fromRawValue<TileSize>(raw.toStdString())) setGlobalTileSize(*size);
}

QString ReaderStore::appearanceOverrideText() const {
  return toQString(rawValue(appearanceOverride_));
}

void ReaderStore::setAppearanceOverrideText(const QString& raw) {
  if (const auto mode = fromRawValue<AppearanceMode>(raw.toStdString())) setAppearanceOverride(*mode);
}

int ReaderStore::rowCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : count();
}

QVariant ReaderStore::data(const QModelIndex& index, int role) const {
  if (!index.isValid() || index.row() >= count() || role != kReaderRole) return {};
  return QVariant::fromValue(readers_[static_cast<std::size_t>(index.row())].get());
}

QHash<int, QByteArray> ReaderStore::roleNames() const {
  return {{kReaderRole, "reader"}};
}

}  // namespace tallyrig
