#pragma once

#include <QObject>
#include <QString>

/// Says on standard output what the shop shows, for a program that watches it.
class Narrator : public QObject {
  Q_OBJECT
  Q_PROPERTY(bool enabled READ isEnabled CONSTANT)

 public:
  explicit Narrator(bool isEnabled) : isEnabled_(isEnabled) {}

  bool isEnabled() const { return isEnabled_; }

  /// One line, flushed: the library's own lines come in between. Without effect where it is not enabled.
  Q_INVOKABLE void say(const QString& text) const;

 private:
  const bool isEnabled_;
};
