#pragma once

#include <QMimeData>
#include <QStringList>
#include <QVariant>

namespace corvane::test {

/// Text on the clipboard that knows how often it was read.
struct WatchedText : QMimeData {
  explicit WatchedText(int& reads) : reads_(reads) {}
  QStringList formats() const override { return {"text/plain"}; }
  QVariant retrieveData(const QString& format, QMetaType) const override {
    if (format != "text/plain") return {};
    ++reads_;
    return QString("watched");
  }

 private:
  int& reads_;
};

}  // namespace corvane::test
