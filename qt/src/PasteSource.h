#pragma once

#include <corvane/CorvanePasteCoordinator.h>

#include <QObject>
#include <QString>

namespace CorvaneQt {

/// The logic of `CorvanePasteButton.qml`. Lives on the main thread, which must be the library's main executor
/// too.
class PasteSource : public QObject {
  Q_OBJECT
  /// Whether the clipboard offers text, by its formats. Updated when the clipboard changes and when the
  /// application becomes active, because some systems report changes to active applications only.
  Q_PROPERTY(bool canPaste READ canPaste NOTIFY canPasteChanged)

 public:
  explicit PasteSource(QObject* parent = nullptr);

  bool canPaste() const { return canPaste_; }

  /// Reads the clipboard once and passes its text to the library.
  Q_INVOKABLE void paste();

 signals:
  void canPasteChanged();
  void token(const QString& text);

 private:
  void look();

  bool canPaste_ = false;
  CorvanePasteCoordinator coordinator_;
};

}  // namespace CorvaneQt
