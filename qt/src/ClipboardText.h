#pragma once

#include <optional>
#include <string>

class QClipboard;

namespace CorvaneQt {

/// The application's clipboard; null without a `QGuiApplication`. On the main thread.
QClipboard* applicationClipboard();

/// Whether the clipboard offers text. Asks for the formats on offer, never for the content.
bool clipboardOffersText();

/// The clipboard's text, which reads its content; none where it offers none.
std::optional<std::string> clipboardText();

}  // namespace CorvaneQt
