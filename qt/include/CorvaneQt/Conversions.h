#pragma once

#include <corvane/Corvane.h>

#include <QString>
#include <QUrl>
#include <optional>
#include <string>
#include <string_view>

// The library's text is UTF-8, Qt's is UTF-16. A half of a surrogate pair becomes U+FFFD on the way.

namespace CorvaneQt {

inline std::string toStdString(const QString& text) {
  return text.toStdString();
}

inline QString toQString(std::string_view text) {
  return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

inline QString toQString(const char* text) {
  return QString::fromUtf8(text);
}

inline QString toQString(const std::string& text) {
  return QString::fromStdString(text);
}

/// A text that may be missing; missing becomes a null string.
inline QString toQString(const std::optional<std::string>& text) {
  return text ? toQString(*text) : QString();
}

/// The text of the URL as a network takes it: fully percent-encoded. A null or invalid URL is empty.
inline std::string toStdString(const QUrl& url) {
  return url.toEncoded(QUrl::FullyEncoded).toStdString();
}

/// The link's own URL, such as a browser could open; empty where it has none.
inline QUrl toQUrl(const CorvaneDeepLink& link) {
  return QUrl(toQString(link.url()));
}

/// `Corvane::handleDeepLink` for the URL of a `QFileOpenEvent` or of `QDesktopServices::setUrlHandler`.
inline bool handleDeepLink(Corvane& client, const QUrl& url) {
  return client.handleDeepLink(toStdString(url));
}

/// `Corvane::trackEvent`; a null `currency` is none.
inline void trackEvent(Corvane& client, const QString& name, std::optional<double> value = std::nullopt,
                       const QString& currency = {}) {
  const std::string encodedCurrency = toStdString(currency);
  client.trackEvent(toStdString(name), value,
                    currency.isNull() ? std::nullopt : std::optional<std::string_view>(encodedCurrency));
}

}  // namespace CorvaneQt
