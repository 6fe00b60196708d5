#include <QCoreApplication>
#include <QtQml>

#include "CorvaneQt/Platform.h"
#include "PasteSource.h"

namespace CorvaneQt {

void registerQmlModule() {
  static const bool once = [] {
    qmlRegisterType<PasteSource>("Corvane", 1, 0, "CorvanePasteSource");
    qmlRegisterType(QUrl("qrc:/corvane/CorvanePasteButton.qml"), "Corvane", 1, 0, "CorvanePasteButton");
    return true;
  }();
  Q_UNUSED(once);
}

Q_COREAPP_STARTUP_FUNCTION(registerQmlModule)

}  // namespace CorvaneQt
