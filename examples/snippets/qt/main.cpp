#include <CorvaneQt/CorvaneQt.h>

#include <QGuiApplication>
#include <QQmlApplicationEngine>
#include <QUrl>

// A host with a Qt Quick interface.

//! [main]
int main(int count, char** arguments) {
  const QGuiApplication application(count, arguments);
  QGuiApplication::setDesktopFileName("com.example.shop");  // the application's identifier
  Corvane::setPlatform(CorvaneQt::platform());              // callbacks from Qt's event loop, Qt's clipboard

  const auto app = Corvane::configure(
      "cv_your_key", {.autoTrackInstall = false, .clickTokenSource = CorvaneClickTokenSource::pasteButton});
  QQmlApplicationEngine engine;
  app->onLink([&engine](const CorvaneDeepLink& link, CorvaneLinkSource) {
    const auto pages = engine.rootObjects();
    if (!pages.isEmpty()) pages.first()->setProperty("path", CorvaneQt::toQString(link.path()));
  });

  engine.load(QUrl("qrc:/shop/Main.qml"));
  const int status = QGuiApplication::exec();
  app->onLink({});  // the engine is destroyed before the client
  return status;
}
//! [main]
