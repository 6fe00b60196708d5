#include <QCoreApplication>
#include <QtQml>

#include "CorvaneQt/Platform.h"
#include "PasteSource.h"

// The macro works outside every namespace only.
static void initialiseResource() {
  Q_INIT_RESOURCE(corvane_qt_module);
}

namespace CorvaneQt {

void registerQmlModule() {
  static const bool once = [] {
    // By name, or a linker that takes what is asked for leaves the resource out.
    initialiseResource();
    qmlRegisterType<PasteSource>("Corvane.Internal", 1, 0, "PasteSource");
    qmlRegisterType(QUrl("qrc:/corvane/CorvanePasteButton.qml"), "Corvane", 1, 0, "CorvanePasteButton");
    return true;
  }();
  Q_UNUSED(once);
}

Q_COREAPP_STARTUP_FUNCTION(registerQmlModule)

}  // namespace CorvaneQt
