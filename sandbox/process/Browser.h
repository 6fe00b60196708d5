#pragma once

#include <filesystem>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>

#include "process/ChildProcess.h"

namespace corvane::test {

/// A Chromium with one page of a phone's size, controlled through its DevTools pipe. Every operation throws
/// `std::runtime_error` when the browser fails or does not respond for a minute.
class Browser {
 public:
  enum class Screen {
    none,     ///< No window, and a clipboard of its own.
    display,  ///< A window at the display's upper left corner, and the display's clipboard.
  };

  /// The browser's path, or empty when this machine has none.
  static std::string executable();

  /// Starts a browser that keeps its files in the new folder `profile`, which is removed with this object. It
  /// resolves `phone.local` to this machine.
  explicit Browser(std::filesystem::path profile, Screen screen = Screen::none);
  ~Browser();
  Browser(const Browser&) = delete;
  Browser& operator=(const Browser&) = delete;

  void allowClipboard(const std::string& origin);
  void open(const std::string& url);

  /// The value of a JavaScript expression. Waits for a promise.
  nlohmann::json evaluate(const std::string& expression);
  /// Waits until the expression is true in the page.
  void awaitTrue(const std::string& expression);
  /// Clicks in the middle of the first element that the selector finds.
  void press(const std::string& selector);
  struct Point {
    int x, y;
  };
  /// The middle of the first element that the selector finds, in the display's coordinates.
  Point placeOnDisplay(const std::string& selector);
  /// Types into the field that the selector finds.
  void type(const std::string& selector, const std::string& text);

 private:
  void start(Screen screen);
  void end();
  void beginTab(Screen screen);
  /// Sends a DevTools command, to the tab once there is one, and returns its result.
  nlohmann::json command(const std::string& method, const nlohmann::json& parameters);
  void awaitEvent(const std::string& method);
  void send(const nlohmann::json& message);
  nlohmann::json nextMessage();

  const std::filesystem::path profile_;
  Descriptor pipe_;
  std::optional<ChildProcess> process_;
  int lastNumber_ = 0;
  std::string received_;
  std::string session_;
};

}  // namespace corvane::test
