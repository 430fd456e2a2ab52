// Pictures of the program's own views over a simulated world: screenshots <folder> [name...]. With names, only those
// scenes. Nothing in them depends on the time or the machine, but on the typefaces installed.

#include <gtest/gtest.h>

#include <QtQml/qqmlextensionplugin.h>
#include <QDir>
#include <QGuiApplication>
#include <QtTest/QTest>
#include <cstdio>

#include "app/Fonts.h"
#include "ui/Stage.h"

Q_IMPORT_QML_PLUGIN(TallyrigPlugin)

namespace tallyrig {
namespace {

/// Holds still what turns on Qt's own clock.
void stopAnimators(QQuickItem* below) {
  for (QQuickItem* item : below->childItems()) stopAnimators(item);
  for (QObject* object : below->children()) {
    if (!object->inherits("QQuickRotationAnimator")) continue;
    object->setProperty("running", false);
    below->setRotation(0);
  }
}

/// Draws a scene; false where its window is not there.
bool take(const Scene& scene, AppearanceMode mode, const QDir& folder, double ratio) {
  Stage stage(scene.cards);
  stage.open(mode, scene.inScreenPixels ? scene.size / ratio : scene.size);
  scene.prepare(stage);
  // For what Qt animates on its own clock.
  QTest::qWait(500);
  QQuickWindow* window = scene.window ? stage.rig.windowTitled(scene.window) : stage.rig.window;
  if (!window) return false;
  stopAnimators(window->contentItem());
  const QString suffix = ratio == 1 ? QString() : QString("@%1x").arg(ratio);
  const QString path =
      folder.filePath(QString("%1-%2%3.png").arg(scene.name, mode == AppearanceMode::dark ? "dark" : "light", suffix));
  // Twice: the first lets Qt load what has just come into sight.
  window->grabWindow();
  if (!window->grabWindow().save(path)) {
    std::fprintf(stderr, "screenshots: cannot write %s\n", qPrintable(path));
    std::exit(1);
  }
  std::printf("%s\n", qPrintable(path));
  return true;
}

std::vector<Scene> scenes() {
  std::vector<Scene> all;
  for (auto part : {wallScenes(), settingsScenes(), windowScenes()})
    for (Scene& scene : part) all.push_back(std::move(scene));
  return all;
}

}  // namespace
}  // namespace tallyrig

int main(int argc, char** argv) {
  using namespace tallyrig;
  testing::InitGoogleTest(&argc, argv);
  if (argc < 2) {
    std::fprintf(stderr, "Usage: screenshots <folder> [name...]\n");
    return 2;
  }
  QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
  QGuiApplication application(argc, argv);
  QGuiApplication::setApplicationVersion(TALLYRIG_VERSION);
  QGuiApplication::setFont(interfaceFont());
  int failures = 0;
  for (const Scene& scene : scenes()) {
    bool wanted = argc == 2;
    for (int index = 2; index < argc; ++index) wanted = wanted || QString(scene.name) == argv[index];
    if (!wanted) continue;
    for (const AppearanceMode mode : {AppearanceMode::light, AppearanceMode::dark}) {
      if (take(scene, mode, QDir(argv[1]), application.devicePixelRatio())) continue;
      std::fprintf(stderr, "screenshots: no window for %s\n", scene.name);
      ++failures;
    }
  }
  return failures == 0 ? 0 : 1;
}
