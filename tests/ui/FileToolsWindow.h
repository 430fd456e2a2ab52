#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QtGui/qevent.h>
#include <QMimeData>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTest>
#include <QUrl>
#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "app/FileTools.h"
#include "platform/simulated/SimulatedWorld.h"
#include "ui/UiRig.h"

namespace tallyrig {

/// The contents of a file tool's window in a window of its own, driven by mouse, keyboard and drops. What the tools do
/// with files is made up.
class FileToolsWindow : public testing::Test {
 protected:
  FileToolsWindow() {
    qtWarnings().clear();
    engine.addImportPath("qrc:/qt/qml");
  }
  ~FileToolsWindow() override {
    window.reset();
    EXPECT_THAT(qtWarnings(), testing::IsEmpty());
  }

  void open(const char* view, const char* size) {
    QQmlComponent component(&engine);
    const QString text = QString(
                             "import QtQuick\nimport Tallyrig\nWindow { id: frame; required property FileTools tools; "
                             "%1; visible: true; color: Theme.window; %2 { anchors.fill: parent; focus: true; "
                             "tools: frame.tools } }")
                             .arg(size, view);
    component.setData(text.toUtf8(), QUrl("qrc:/qt/qml/Tallyrig/FileToolsWindow.qml"));
    window.reset(
        qobject_cast<QQuickWindow*>(component.createWithInitialProperties({{"tools", QVariant::fromValue(&tools)}})));
    ASSERT_TRUE(window) << component.errorString().toStdString();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(window.get()));
    settle();
  }
  void settle() {
    world.runFor(std::chrono::milliseconds(10));
    QCoreApplication::processEvents();
    window->grabWindow();
  }
  QQuickItem* find(const QString& name, QQuickItem* below = nullptr) {
    QQuickItem* root = below != nullptr ? below : window->contentItem();
    if (root->objectName() == name && root->isVisible()) return root;
    for (QQuickItem* child : root->childItems()) {
      if (QQuickItem* found = find(name, child)) return found;
    }
    return nullptr;
  }
  QString text(const QString& name, const char* property = "text") {
    QQuickItem* item = find(name);
    return item != nullptr ? item->property(property).toString() : "absent";
  }
  void click(const QString& name) {
    QQuickItem* item = find(name);
    ASSERT_NE(item, nullptr) << name.toStdString();
    const QPointF centre = item->mapToScene(QPointF(item->width() / 2, item->height() / 2));
    QTest::mouseClick(window.get(), Qt::LeftButton, {}, centre.toPoint());
    settle();
  }
  void type(const QString& keys) {
    for (const QChar key : keys) QTest::keyClick(window.get(), key.toLatin1());
    settle();
  }
  /// As a file manager does it. Whether the window takes it.
  bool drop(const QString& onto, const QList<QUrl>& urls) {
    QQuickItem* item = find(onto);
    QMimeData data;
    data.setUrls(urls);
    const QPointF place = item->mapToScene(QPointF(item->width() / 2, item->height() / 2));
    QDragEnterEvent enter(place.toPoint(), Qt::CopyAction, &data, Qt::LeftButton, {});
    QCoreApplication::sendEvent(window.get(), &enter);
    settle();
    targetedDuringDrag = item->property("isTargeted").toBool();
    QDropEvent event(place, Qt::CopyAction, &data, Qt::LeftButton, {});
    QCoreApplication::sendEvent(window.get(), &event);
    const bool taken = event.isAccepted();
    settle();
    return taken;
  }

  static constexpr Timecode kStart{1, 0, 0, 0, MTCFrameRate::fps25};

  SimulatedWorld world;
  int channels = 2;
  std::optional<double> pictureRate;
  FileAnalysisOutcome outcome = FileAnalysisResult{MTCFrameRate::fps25, kStart, 1, 2, 75, {{0, kStart}, {61, {}}}, "x"};
  TimecodeTrackResult written;
  std::vector<std::vector<int>> analysed;
  int writes = 0;
  std::vector<std::filesystem::path> rendered;
  std::optional<std::string> renderFailure;
  bool targetedDuringDrag = false;
  FileTools tools{world.scheduler(),
                  {[this](const auto&) {
                     return FileSummary{channels, pictureRate};
                   },
                   [this](const auto&, const auto& tried, const auto&) {
                     analysed.push_back(tried);
                     return outcome;
                   },
                   [this](const auto&, const Timecode&, const auto&) {
                     ++writes;
                     return written;
                   }},
                  [this](const WAVStretch&, const std::filesystem::path& url) {
                    rendered.push_back(url);
                    return renderFailure;
                  }};
  QQmlEngine engine;
  std::unique_ptr<QQuickWindow> window;
};

}  // namespace tallyrig
