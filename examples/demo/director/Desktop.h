#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "HostProcess.h"
#include "Interrupt.h"

namespace corvane::demo {

/// Runs a program and gives what it prints, without the line break at its end. Throws when it fails.
std::string outputOf(const std::vector<std::string>& command);

/// A screen that nobody sees (Xvfb), with a window manager, and hands for its mouse, keyboard and clipboard.
/// One in the process: programs that are started while it lives show their windows there.
class Desktop {
 public:
  explicit Desktop(const Interrupt& interrupt);

  /// Waits for a visible window whose title holds `title`, and gives its number.
  std::string awaitWindow(const std::string& title) const;
  /// Presses the left button of the mouse there; without a window, the place is the screen's.
  void press(int x, int y, const std::string& window = {}) const;
  /// Asks the window to close, as its frame's button does.
  void closeWindow(const std::string& window) const;

  /// Waits until nothing changes in the window, and keeps what it shows as a PNG file.
  void keepPicture(const std::string& window, const std::filesystem::path& file) const;

  /// The clipboard's text; empty where it holds none.
  std::string clipboard() const;

 private:
  std::unique_ptr<HostProcess> screen_;
  std::unique_ptr<HostProcess> windowManager_;
};

}  // namespace corvane::demo
