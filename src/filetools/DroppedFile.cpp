#include "filetools/DroppedFile.h"

#include <QByteArray>

namespace tallyrig {

std::optional<std::filesystem::path> localFile(const QUrl& url) {
  if (!url.isLocalFile() || !url.host().isEmpty()) return std::nullopt;
  const QByteArray bytes = QByteArray::fromPercentEncoding(url.path(QUrl::FullyEncoded).toLatin1());
  // A name cannot hold a zero; what comes before it would be another file.
  if (bytes.isEmpty() || bytes.contains('\0')) return std::nullopt;
  return std::filesystem::path(bytes.toStdString());
}

std::optional<std::filesystem::path> droppedFile(const QList<QUrl>& urls) {
  return urls.isEmpty() ? std::nullopt : localFile(urls.front());
}

QString displayName(const std::filesystem::path& path) {
  const std::string name = path.filename().string();
  QString text = QString::fromUtf8(name.data(), static_cast<qsizetype>(name.size()));
  for (QChar& letter : text) {
    if (letter.category() == QChar::Other_Control || letter == QChar::LineSeparator)
      letter = QChar::ReplacementCharacter;
  }
  return text;
}

QStringList acceptedFileFilters() {
  return {
      "Audio and video (*.wav *.wave *.bwf *.rf64 *.w64 *.aif *.aiff *.aifc *.mp3 *.mp4 *.m4v *.m4a *.mov *.flac "
      "*.ogg *.opus *.caf *.au *.aac *.ac3 *.m4b *.mka *.mkv)",
      "All files (*)"};
}

}  // namespace tallyrig
