#pragma once

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QMimeData>
#include <QStringList>
#include <QThread>
#include <QVariant>

namespace corvane::test {

/// Text on the clipboard that counts how often it is read, on the main thread only.
struct WatchedText : QMimeData {
  explicit WatchedText(int& reads) : reads_(reads) {}
  QStringList formats() const override { return {"text/plain"}; }
  QVariant retrieveData(const QString& format, QMetaType) const override {
    if (format != "text/plain") return {};
    EXPECT_EQ(QThread::currentThread(), QCoreApplication::instance()->thread());
    ++reads_;
    return QString("grüße");
  }

 private:
  int& reads_;
};

}  // namespace corvane::test
