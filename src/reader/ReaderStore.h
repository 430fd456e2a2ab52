#pragma once

#include <QAbstractListModel>
#include <QUuid>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "platform/FileSystem.h"
#include "platform/Lifetime.h"
#include "platform/Preferences.h"
#include "reader/ReaderInstance.h"

namespace tallyrig {

/// The colours that new cards take in turn.
const std::vector<std::string>& cardPalette();

/// The ordered list of cards, its file readers.json, and the two settings that hold for all cards. A list model for
/// the wall, with the one role "reader".
///
/// Main thread.
class ReaderStore : public QAbstractListModel {
  Q_OBJECT
  Q_PROPERTY(int count READ count NOTIFY countChanged)
  Q_PROPERTY(QString globalTileSize READ globalTileSizeText WRITE setGlobalTileSizeText NOTIFY globalTileSizeChanged)
  Q_PROPERTY(QString appearanceOverride READ appearanceOverrideText WRITE setAppearanceOverrideText NOTIFY
                 appearanceOverrideChanged)

 public:
  /// Loads readers.json and the global settings; the cards stay idle. A file that cannot be read or decoded is
  /// replaced at once by the default list of one card.
  ReaderStore(const ReaderServices& services, Preferences& preferences, FileSystem& files);
  ~ReaderStore() override;

  const std::vector<std::shared_ptr<ReaderInstance>>& readers() const { return readers_; }
  int count() const { return static_cast<int>(readers_.size()); }

  /// Once, from the main window's first appearance; later calls do nothing.
  Q_INVOKABLE void startSavedReaders();
  /// Starts anew the started cards whose input device was not there. For the return of a sound server; a device that
  /// comes and goes by itself restarts nothing.
  void restartUnavailableReaders();
  /// Always true.
  Q_INVOKABLE bool addReader();
  Q_INVOKABLE void removeReader(tallyrig::ReaderInstance* reader);
  Q_INVOKABLE void clearAllReaders();
  /// Moves one card to the place that another has now, and renumbers.
  Q_INVOKABLE void moveReader(int from, int to, bool save);
  /// Moves the cards at `fromOffsets` to before the card at `toOffset`, counted before the move, and renumbers.
  void moveReaders(const std::set<int>& fromOffsets, int toOffset, bool save);
  /// Writes the file if its contents would change. Safe at any time.
  Q_INVOKABLE void saveReaders();
  /// Moves a card to its next display mode and saves.
  Q_INVOKABLE void cycleDisplayMode(tallyrig::ReaderInstance* reader);

  bool isLTCOutputAvailable(AudioDeviceID device, std::int64_t channel, const QUuid& excluding) const;
  bool isMTCDestinationAvailable(const std::string& name, const QUuid& excluding) const;

  /// Absent if the system names no folder for it.
  std::optional<std::filesystem::path> persistenceURL() const;

  TileSize globalTileSize() const { return globalTileSize_; }
  void setGlobalTileSize(TileSize size);
  AppearanceMode appearanceOverride() const { return appearanceOverride_; }
  void setAppearanceOverride(AppearanceMode mode);

  QString globalTileSizeText() const;
  void setGlobalTileSizeText(const QString& raw);
  QString appearanceOverrideText() const;
  void setAppearanceOverrideText(const QString& raw);

  int rowCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role) const override;
  QHash<int, QByteArray> roleNames() const override;

 signals:
  void countChanged();
  void globalTileSizeChanged();
  void appearanceOverrideChanged();

 private:
  struct Observation;

  bool loadReaders();
  void createDefaultReader();
  /// Saves when a card has been quiet for half a second after a change.
  void observeReader(const std::shared_ptr<ReaderInstance>& reader);
  void checkQuiet(const std::shared_ptr<Observation>& observation);
  void startUnstartedReaders();
  void renumber();
  void replaceReaders(std::vector<std::shared_ptr<ReaderInstance>> readers);
  int indexOf(const ReaderInstance* reader) const;
  void writeReadersData(const std::string& bytes);

  ReaderServices services_;
  Preferences& preferences_;
  FileSystem& files_;
  std::vector<std::shared_ptr<ReaderInstance>> readers_;
  std::set<QUuid> startedReaderIDs_;
  std::map<QUuid, std::shared_ptr<Observation>> observations_;
  bool didStartSavedReaders_ = false;
  TileSize globalTileSize_ = TileSize::medium;
  AppearanceMode appearanceOverride_ = AppearanceMode::system;
  std::optional<std::string> lastSavedReadersData_;
  Lifetime lifetime_;
};

}  // namespace tallyrig
