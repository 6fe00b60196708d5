#include <QCoreApplication>
#include <QtQml>

#include "CorvaneQt/Platform.h"
#include "PasteSource.h"

// The macro works only outside of namespaces.
static void initialiseResource() {
  Q_INIT_RESOURCE(corvane_qt_module);
}

namespace CorvaneQt {

void registerQmlModule() {
  static const bool once = [] {
    // Explicit, because a linker may leave the resource out when nothing refers to it.
    initialiseResource();
    qmlRegisterType<PasteSource>("Corvane.Internal", 1, 0, "PasteSource");
    qmlRegisterType(QUrl("qrc:/corvane/CorvanePasteButton.qml"), "Corvane", 1, 0, "CorvanePasteButton");
    return true;
  }();
  Q_UNUSED(once);
}

Q_COREAPP_STARTUP_FUNCTION(registerQmlModule)

}  // namespace CorvaneQt
