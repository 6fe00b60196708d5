#include <CorvaneQt/CorvaneQt.h>

#include <QCommandLineParser>
#include <QDir>
#include <QGuiApplication>
#include <QLocale>
#include <QQmlApplicationEngine>
#include <QStandardPaths>
#include <QtQml>
#include <utility>

#include "BackendAddress.h"
#include "Shop.h"

// A small shop with the library in it, as a host developer would write it.
int main(int count, char** arguments) {
  const QGuiApplication application(count, arguments);
  QGuiApplication::setApplicationName("juniper");
  QGuiApplication::setApplicationDisplayName("Juniper");
  // The texts are English; under the C locale the prices follow them.
  if (QLocale().language() == QLocale::C) QLocale::setDefault(QLocale(QLocale::English, QLocale::Ireland));

  const QCommandLineOption backend("backend", "The backend's origin.", "URL", "http://127.0.0.1:8717");
  const QCommandLineOption data("data", "Where the shop and the library keep their files.", "folder",
                                QStandardPaths::writableLocation(QStandardPaths::AppDataLocation));
  const QCommandLineOption requireConsent("require-consent", "Count nothing before the user agrees.");
  QCommandLineParser parser;
  parser.setApplicationDescription("A small shop for plants, which knows where its customers come from.");
  parser.addHelpOption();
  parser.addOptions({backend, data, requireConsent});
  parser.process(application);

  corvane::demo::setBackendAddress(parser.value(backend).toStdString());
  const QDir folder(parser.value(data));
  CorvanePlatform platform = CorvaneQt::platform();
  platform.applicationIdentifier = "com.example.juniper";
  platform.preferencesFile = QFileInfo(folder, "preferences.sqlite").filesystemAbsoluteFilePath();
  Corvane::setPlatform(std::move(platform));
  const auto client =
      Corvane::configure("cv_juniper", {.logEnabled = true,
                                        .logLevel = CorvaneLogLevel::debug,
                                        .autoTrackInstall = false,
                                        .clickTokenSource = CorvaneClickTokenSource::pasteButton,
                                        .requireConsent = parser.isSet(requireConsent)});

  Shop shop(client, folder.filePath("shop.ini"));
  qmlRegisterSingletonInstance("Juniper", 1, 0, "Shop", &shop);
  const QQmlApplicationEngine engine(QUrl("qrc:/juniper/Main.qml"));
  return engine.rootObjects().isEmpty() ? 1 : QGuiApplication::exec();
}
