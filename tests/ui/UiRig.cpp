#include "ui/UiRig.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QGuiApplication>
#include <QPalette>
#include <QtTest/QTest>
#include <functional>

namespace tallyrig {

std::vector<std::string>& qtWarnings() {
  static std::vector<std::string> warnings;
  return warnings;
}

UiRig::UiRig(const SimulatedWorld::Options& options) : wall(options) {
  qtWarnings().clear();
}

UiRig::~UiRig() {
  engine.reset();
  settle();
  EXPECT_TRUE(qtWarnings().empty()) << qtWarnings().front();
}

void UiRig::open() {
  wall.open();
  renderClock.emplace(wall.world.clock(), wall.world.scheduler(), wall.world.log());
  forms.emplace(store(), wall.services());
  soundServer.emplace(wall.world.audio(), wall.services(), *wall.store);
  appearance.emplace(store(), desktop, QPalette(Qt::white));
  app.emplace(store(), wall.world.scheduler().mainQueue(), wall.world.log(), build);
  if (!fitsWindow) wall.world.preferences().setString("Tallyrig.MainWindowManuallySized", "true");
  windowManager.emplace(wall.world.preferences(), wall.world.clock(), wall.world.scheduler().mainQueue(), canFloat);
  fileTools.emplace(wall.world.scheduler(), analyserOperations, [](const auto&, const auto&) { return std::nullopt; });
  mediaPlayers.emplace(
      FileMediaPlayerServices{wall.world.audio(), wall.world.scheduler(), mediaFiles, converters, movies,
                              FileAnalysisEngine({mediaFiles, audioFiles, userFiles, wall.world.clock()})});
  closeHandler.emplace([this] { app->requestQuit(); });
  QObject::connect(&*app, &TallyrigApp::confirmedApplicationQuit, &*closeHandler,
                   &MainWindowCloseHandler::allowConfirmedQuit);
  engine.emplace();
  engine->addImportPath("qrc:/qt/qml");
  engine->setInitialProperties({{"app", QVariant::fromValue(&*app)},
                                {"windowManager", QVariant::fromValue(&*windowManager)},
                                {"store", QVariant::fromValue(&*wall.store)},
                                {"renderClock", QVariant::fromValue(&*renderClock)},
                                {"forms", QVariant::fromValue(&*forms)},
                                {"soundServer", QVariant::fromValue(&*soundServer)},
                                {"appearance", QVariant::fromValue(&*appearance)},
                                {"mediaPlayers", QVariant::fromValue(&*mediaPlayers)},
                                {"fileTools", QVariant::fromValue(&*fileTools)}});
  engine->load(QUrl("qrc:/qt/qml/Tallyrig/MainWindow.qml"));
  ASSERT_FALSE(engine->rootObjects().isEmpty());
  window = qobject_cast<QQuickWindow*>(engine->rootObjects().constFirst());
  closeHandler->install(window);
  windowManager->attach(window);
  window->show();
  ASSERT_TRUE(QTest::qWaitForWindowExposed(window));
  runFor(std::chrono::milliseconds(50));
}

void UiRig::settle() {
  for (int round = 0; round < 5; ++round) {
    QCoreApplication::sendPostedEvents();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCoreApplication::processEvents();
  }
}

void UiRig::runUnseen(std::chrono::nanoseconds duration) {
  settle();
  wall.world.runFor(duration);
  settle();
}

void UiRig::runFor(std::chrono::nanoseconds duration) {
  runUnseen(duration);
  picture();
  settle();
}

std::vector<QQuickItem*> UiRig::findAll(const QString& name, QQuickItem* below) const {
  std::vector<QQuickItem*> found;
  const std::function<void(QQuickItem*)> visit = [&](QQuickItem* item) {
    if (!item->isVisible()) return;
    if (item->objectName() == name) found.push_back(item);
    for (QQuickItem* child : item->childItems()) visit(child);
  };
  visit(below ? below : window->contentItem());
  return found;
}

QQuickItem* UiRig::find(const QString& name, QQuickItem* below) const {
  const auto found = findAll(name, below);
  return found.empty() ? nullptr : found.front();
}

QString UiRig::text(const QString& name, QQuickItem* below) const {
  const QQuickItem* item = find(name, below);
  return item ? item->property("text").toString() : QStringLiteral("<no %1>").arg(name);
}

QQuickWindow* UiRig::windowTitled(const QString& title) const {
  for (QWindow* candidate : QGuiApplication::topLevelWindows())
    if (candidate->isVisible() && candidate->title() == title) return qobject_cast<QQuickWindow*>(candidate);
  return nullptr;
}

void UiRig::clickAt(QPoint point) {
  QTest::mouseClick(window, Qt::LeftButton, {}, point);
  runFor(std::chrono::milliseconds(20));
}

void UiRig::click(QQuickItem* item) {
  ASSERT_NE(item, nullptr);
  const QPointF centre = item->mapToScene(QPointF(item->width() / 2, item->height() / 2));
  QTest::mouseClick(item->window(), Qt::LeftButton, {}, centre.toPoint());
  runFor(std::chrono::milliseconds(20));
}

void UiRig::press(Qt::Key key, Qt::KeyboardModifiers modifiers) {
  pressIn(window, key, modifiers);
}

void UiRig::tabTo(QQuickItem* item) {
  constexpr int kMostStops = 60;
  for (int stop = 0; stop < kMostStops && window->activeFocusItem() != item; ++stop) press(Qt::Key_Tab);
  ASSERT_EQ(window->activeFocusItem(), item);
}

void UiRig::pressIn(QWindow* target, Qt::Key key, Qt::KeyboardModifiers modifiers) {
  ASSERT_NE(target, nullptr);
  target->requestActivate();
  ASSERT_TRUE(QTest::qWaitForWindowActive(target));
  QTest::keyClick(target, key, modifiers);
  runFor(std::chrono::milliseconds(20));
}

void UiRig::chooseCommand(const QString& menu, const QString& command) {
  click(find("menuBar" + menu));
  for (QQuickItem* item : findAll("command"))
    if (item->property("text") == command) return click(item);
  FAIL() << "no command " << command.toStdString();
}

void UiRig::type(const QString& text) {
  for (const QChar character : text) QTest::keyClick(window, character.toLatin1());
  runFor(std::chrono::milliseconds(20));
}

void UiRig::choose(const QString& menu, const QString& entry) {
  click(find(menu));
  for (QQuickItem* item : findAll("menuEntry"))
    if (item->property("text") == entry) return click(item);
  FAIL() << "no entry " << entry.toStdString();
}

QImage UiRig::picture() {
  settle();
  return window->grabWindow();
}

QColor UiRig::pixel(QQuickItem* item, QPointF within) {
  return picture().pixelColor(item->mapToScene(within).toPoint());
}

}  // namespace tallyrig
