#include <CorvaneQt/CorvaneQt.h>

#include <QCommandLineParser>
#include <QDir>
#include <QFileInfo>
#include <QGuiApplication>
#include <QLocale>
#include <QQmlApplicationEngine>
#include <QStandardPaths>
#include <QtQml>
#include <cstdlib>
#include <memory>
#include <utility>

#include "BackendAddress.h"
#include "Narrator.h"
#include "Shop.h"

// A small shop with the library in it, as a host developer would write it.

namespace {

struct Launch {
  QString backend;
  QDir data;
  bool requiresConsent = false;
  bool isNarrated = false;
};

Launch readArguments(const QCoreApplication& application) {
  const QCommandLineOption backend("backend", "The backend's origin.", "URL", "http://127.0.0.1:8717");
  const QCommandLineOption data("data", "Where the shop and the library keep what survives a restart.",
                                "folder", QStandardPaths::writableLocation(QStandardPaths::AppDataLocation));
  const QCommandLineOption requireConsent("require-consent", "Count nothing before the user agrees.");
  const QCommandLineOption narrate("narrate", "Say on standard output what is shown.");
  QCommandLineParser parser;
  parser.setApplicationDescription("A small shop for plants, which knows where its customers come from.");
  parser.addHelpOption();
  parser.addOptions({backend, data, requireConsent, narrate});
  parser.process(application);
  return {.backend = parser.value(backend),
          .data = QDir(parser.value(data)),
          .requiresConsent = parser.isSet(requireConsent),
          .isNarrated = parser.isSet(narrate)};
}

std::shared_ptr<Corvane> configure(const Launch& launch) {
  corvane::demo::setBackendAddress(launch.backend.toStdString());
  CorvanePlatform platform = CorvaneQt::platform();
  platform.applicationIdentifier = "com.example.juniper";
  platform.preferencesFile = QFileInfo(launch.data, "preferences.sqlite").filesystemAbsoluteFilePath();
  Corvane::setPlatform(std::move(platform));
  return Corvane::configure("cv_juniper", {.logEnabled = launch.isNarrated,
                                           .logLevel = CorvaneLogLevel::debug,
                                           .autoTrackInstall = false,
                                           .clickTokenSource = CorvaneClickTokenSource::pasteButton,
                                           .requireConsent = launch.requiresConsent});
}

}  // namespace

int main(int count, char** arguments) {
  const QGuiApplication application(count, arguments);
  QGuiApplication::setApplicationName("juniper");
  QGuiApplication::setApplicationDisplayName("Juniper");
  // The texts are English; on a machine without a language of its own the prices are written so too.
  if (QLocale().language() == QLocale::C) QLocale::setDefault(QLocale(QLocale::English, QLocale::Ireland));
  const Launch launch = readArguments(application);

  Narrator narrator(launch.isNarrated);
  Shop shop(configure(launch), launch.data.filePath("shop.ini"));
  QObject::connect(&shop, &Shop::heard, &narrator,
                   [&narrator](const QString& line) { narrator.say("told " + line); });

  qmlRegisterSingletonInstance("Juniper", 1, 0, "Shop", &shop);
  qmlRegisterSingletonInstance("Juniper", 1, 0, "Narrator", &narrator);
  QQmlApplicationEngine engine;
  QObject::connect(
      &engine, &QQmlApplicationEngine::objectCreated, &application,
      [](const QObject* window) {
        if (window == nullptr) QCoreApplication::exit(EXIT_FAILURE);
      },
      Qt::QueuedConnection);
  engine.load(QUrl("qrc:/juniper/Main.qml"));
  return QGuiApplication::exec();
}
