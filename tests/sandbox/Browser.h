#pragma once

#include <sys/types.h>

#include <nlohmann/json_fwd.hpp>
#include <string>

#include "support/TemporaryFolder.h"

namespace corvane::test {

/// A headless Chromium with one tab of a phone's size, steered through its DevTools pipe. Everything throws
/// `std::runtime_error` when the browser fails, or says nothing for a minute.
class Browser {
 public:
  /// The browser's path, empty when this machine has none.
  static std::string executable();

  /// A new browser with an empty profile. The name `phone.local` leads to this machine.
  Browser();
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
  /// Types into the field that the selector finds.
  void type(const std::string& selector, const std::string& text);

 private:
  TemporaryFolder profile_;
  void beginTab();
  /// Goes to the tab once there is one, and there to the browser when the command is the browser's.
  nlohmann::json command(const std::string& method, const nlohmann::json& parameters);
  void awaitEvent(const std::string& method);
  void send(const nlohmann::json& message);
  nlohmann::json nextMessage();

  pid_t pid_ = -1;
  int pipe_ = -1;
  int lastNumber_ = 0;
  std::string received_;
  std::string session_;
};

}  // namespace corvane::test
