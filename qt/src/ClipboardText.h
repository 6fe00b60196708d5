#pragma once

#include <optional>
#include <string>

class QClipboard;

namespace CorvaneQt {

/// Returns the application's clipboard; nullptr without a `QGuiApplication`. Call it on the main thread.
QClipboard* applicationClipboard();

/// Returns whether the clipboard offers text. Reads the list of formats, not the content.
bool clipboardOffersText();

/// Reads the clipboard's text; nullopt when it offers none.
std::optional<std::string> clipboardText();

}  // namespace CorvaneQt
