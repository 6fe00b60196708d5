#include "CorvaneQt/Platform.h"

#include <QGuiApplication>
#include <memory>

#include "CorvaneQt/Conversions.h"
#include "CorvaneQt/QtMainExecutor.h"
#include "CorvaneQt/QtPasteboard.h"

namespace CorvaneQt {

CorvanePlatform platform() {
  const auto executor = std::make_shared<QtMainExecutor>();
  const QString desktopFile = QGuiApplication::desktopFileName();
  return {.applicationIdentifier =
              toStdString(desktopFile.isEmpty() ? QCoreApplication::applicationName() : desktopFile),
          .mainExecutor = executor,
          .pasteboard = std::make_shared<QtPasteboard>(executor)};
}

}  // namespace CorvaneQt
