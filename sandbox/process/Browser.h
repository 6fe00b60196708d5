#pragma once

#include <filesystem>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>

#include "process/ChildProcess.h"

namespace corvane::test {

/// A Chromium with one page of a phone's size, steered through its DevTools pipe, to visit the sandbox's
/// pages with. Everything throws `std::runtime_error` when the browser fails, or says nothing for a minute.
class Browser {
 public:
  enum class Screen {
    none,     ///< It shows nothing, and has a clipboard of its own.
    display,  ///< A window at the display's upper left corner, and the display's clipboard.
  };

  /// The browser's path, empty when this machine has none.
  static std::string executable();

  /// A new browser, which keeps its files in the folder `profile`, made for it and removed with it. The name
  /// `phone.local` leads to this machine.
  explicit Browser(std::filesystem::path profile, Screen screen = Screen::none);
  ~Browser();
  Browser(const Browser&) = delete;
  Browser& operator=(const Browser&) = delete;

  void allowClipboard(const std::string& origin);
  void open(const std::string& url);

  /// The value of a JavaScript expression; a promise is waited for.
  nlohmann::json evaluate(const std::string& expression);
  /// Waits until the expression is true of the page.
  void awaitTrue(const std::string& expression);
  /// Presses the middle of the first element that the selector finds, as a finger does.
  void press(const std::string& selector);
  struct Point {
    int x, y;
  };
  /// Where the middle of the first element that the selector finds is on the display.
  Point placeOnDisplay(const std::string& selector);
  /// Types into the field that the selector finds.
  void type(const std::string& selector, const std::string& text);

 private:
  void start(Screen screen);
  void end();
  void beginTab(Screen screen);
  /// Goes to the tab once there is one, and there to the browser when the command is the browser's.
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
