#include <gtest/gtest.h>

#include <QtQml/qqmlextensionplugin.h>
#include <QGuiApplication>
#include <QQuickWindow>

#include "app/Fonts.h"
#include "ui/UiRig.h"

Q_IMPORT_QML_PLUGIN(TallyrigPlugin)

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  qInstallMessageHandler([](QtMsgType type, const QMessageLogContext&, const QString& message) {
    // A window without a screen has nobody to tell its least size to, and nothing to stand above.
    if (message.contains("propagateSizeHints") || message.contains("does not support raise") ||
        message.startsWith("QStandardPaths:"))
      return;
    if (type != QtDebugMsg && type != QtInfoMsg) tallyrig::qtWarnings().push_back(message.toStdString());
  });
  QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
  QGuiApplication application(argc, argv);
  QGuiApplication::setFont(tallyrig::interfaceFont());
  return RUN_ALL_TESTS();
}
