#include <CorvaneQt/CorvaneQt.h>

#include <QGuiApplication>
#include <QQmlApplicationEngine>
#include <cstdio>

#ifdef PAGES_IN_A_LIBRARY
void registerPages();
#else
void registerPages() {}  // the module does it itself
#endif

int main(int count, char** arguments) {
  const QGuiApplication application(count, arguments);
  Corvane::setPlatform(CorvaneQt::platform());
  const auto client = Corvane::configure("cv_outside", {.autoTrackInstall = false});
  registerPages();
  QQmlApplicationEngine engine;
  engine.loadData(
      "import QtQuick; import Corvane; Item { CorvanePasteButton { onToken: text => print(text) } }");
  const bool works = Corvane::shared() == client && engine.rootObjects().size() == 1;
  std::printf("Corvane %s with Qt %s %s\n", CORVANE_VERSION_STRING, qVersion(),
              works ? "runs" : "does not run");
  return works ? 0 : 1;
}
