#pragma once

#include <QList>
#include <QString>
#include <QStringList>
#include <QUrl>
#include <filesystem>
#include <optional>

namespace tallyrig {

/// The file that a URL names, byte for byte, also where its name is no valid text; absent for what is no local file.
std::optional<std::filesystem::path> localFile(const QUrl& url);

/// The file to load when these are dropped: the first, and no other is looked at. Absent if that is no local file.
std::optional<std::filesystem::path> droppedFile(const QList<QUrl>& urls);

/// A path's last part for the eye: what is no valid text or would break the line is replaced.
QString displayName(const std::filesystem::path& path);

/// What the open panels of the file tools offer, as filters of a file dialog.
QStringList acceptedFileFilters();

}  // namespace tallyrig
