#pragma once

#include <corvane/Corvane.h>

#include <QString>
#include <QUrl>
#include <optional>
#include <string>
#include <string_view>

// The library's text is UTF-8, Qt's is UTF-16. An unpaired surrogate is converted to U+FFFD.

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

/// An absent text becomes a null string.
inline QString toQString(const std::optional<std::string>& text) {
  return text ? toQString(*text) : QString();
}

/// The URL in fully percent-encoded form, as it is sent over a network. A null or invalid URL becomes an
/// empty text.
inline std::string toStdString(const QUrl& url) {
  return url.toEncoded(QUrl::FullyEncoded).toStdString();
}

/// The link's own URL; empty when the link has none.
inline QUrl toQUrl(const CorvaneDeepLink& link) {
  return QUrl(toQString(link.url()));
}

/// Calls `Corvane::handleDeepLink` with the URL of a `QFileOpenEvent` or of
/// `QDesktopServices::setUrlHandler`.
inline bool handleDeepLink(Corvane& client, const QUrl& url) {
  return client.handleDeepLink(toStdString(url));
}

/// Calls `Corvane::trackEvent`. A null `currency` means no currency.
inline void trackEvent(Corvane& client, const QString& name, std::optional<double> value = std::nullopt,
                       const QString& currency = {}) {
  const std::string encodedCurrency = toStdString(currency);
  client.trackEvent(toStdString(name), value,
                    currency.isNull() ? std::nullopt : std::optional<std::string_view>(encodedCurrency));
}

}  // namespace CorvaneQt
