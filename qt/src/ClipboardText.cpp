#include "ClipboardText.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QMimeData>

namespace CorvaneQt {

QClipboard* applicationClipboard() {
  const bool hasWindows = qobject_cast<QGuiApplication*>(QCoreApplication::instance()) != nullptr;
  return hasWindows ? QGuiApplication::clipboard() : nullptr;
}

bool clipboardOffersText() {
  QClipboard* const clipboard = applicationClipboard();
  const QMimeData* const content = clipboard != nullptr ? clipboard->mimeData() : nullptr;
  return content != nullptr && content->hasFormat("text/plain");
}

std::optional<std::string> clipboardText() {
  if (!clipboardOffersText()) return std::nullopt;
  return applicationClipboard()->mimeData()->text().toStdString();
}

}  // namespace CorvaneQt
