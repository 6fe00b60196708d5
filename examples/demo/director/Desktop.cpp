#include "Desktop.h"

#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <utility>

namespace corvane::demo {
namespace {

std::string quoted(const std::string& word) {
  std::string result = "'";
  for (const char c : word) result += c == '\'' ? "'\\''" : std::string(1, c);
  return result + "'";
}

/// What the program prints, and its exit status; -1 where it was killed.
std::pair<std::string, int> run(const std::vector<std::string>& command) {
  std::string line;
  for (const std::string& word : command) line += quoted(word) + " ";
  FILE* const output = popen((line + "2>/dev/null").c_str(), "r");
  if (output == nullptr) throw std::runtime_error("cannot start " + command.front());
  std::string printed;
  std::array<char, 4096> buffer;
  while (const auto size = std::fread(buffer.data(), 1, buffer.size(), output))
    printed.append(buffer.data(), size);
  const int status = pclose(output);
  while (printed.ends_with('\n')) printed.pop_back();
  return {std::move(printed), WIFEXITED(status) ? WEXITSTATUS(status) : -1};
}

std::unique_ptr<HostProcess> start(const std::vector<std::string>& words, const Interrupt& interrupt) {
  // It ends with this process, however that ends.
  std::vector<std::string> arguments{"--pdeathsig", "KILL"};
  arguments.insert(arguments.end(), words.begin(), words.end());
  return std::make_unique<HostProcess>("/usr/bin/setpriv", std::move(arguments), interrupt,
                                       [](const auto&) {});
}

}  // namespace

std::string outputOf(const std::vector<std::string>& command) {
  auto [printed, status] = run(command);
  if (status != 0) throw std::runtime_error(command.front() + " failed");
  return printed;
}

Desktop::Desktop(const Interrupt& interrupt)
    : screen_(
          start({"Xvfb", "-displayfd", "1", "-screen", "0", "1024x860x24", "-nolisten", "tcp"}, interrupt)) {
  // The number of the first display that was free is all that it prints.
  screen_->waitFor("");
  setenv("DISPLAY", (":" + screen_->lastLine("")).c_str(), 1);
  unsetenv("WAYLAND_DISPLAY");
  setenv("QT_QPA_PLATFORM", "xcb", 1);
  setenv("QT_QUICK_BACKEND", "software", 1);
  windowManager_ = start({"openbox"}, interrupt);
}

std::string Desktop::awaitWindow(const std::string& title) const {
  const auto [found, status] =
      run({"timeout", "60", "xdotool", "search", "--sync", "--onlyvisible", "--name", title});
  if (status != 0) throw std::runtime_error("no window appears whose title holds " + title);
  return found.substr(0, found.find('\n'));
}

void Desktop::press(int x, int y, const std::string& window) const {
  std::vector<std::string> command{"xdotool", "mousemove", "--sync"};
  if (!window.empty()) command.insert(command.end(), {"--window", window});
  command.insert(command.end(), {std::to_string(x), std::to_string(y), "click", "1"});
  outputOf(command);
}

void Desktop::closeWindow(const std::string& window) const {
  outputOf({"xdotool", "windowactivate", "--sync", window, "key", "alt+F4"});
}

void Desktop::keepPicture(const std::string& window, const std::filesystem::path& file) const {
  outputOf({"xdotool", "windowactivate", "--sync", window});
  // Two pictures in a row that are the same, pixel by pixel: nothing fades or moves any more.
  std::string before, now;
  for (int tries = 0; before.empty() || now != before; ++tries) {
    if (tries == 100) throw std::runtime_error("the window never comes to rest");
    before = now;
    outputOf({"import", "-window", window, file});
    now = outputOf({"identify", "-format", "%#", file});
  }
}

std::string Desktop::clipboard() const {
  const auto [text, status] = run({"timeout", "10", "xclip", "-selection", "clipboard", "-out"});
  constexpr int timedOut = 124;
  if (status == timedOut) throw std::runtime_error("the clipboard's owner does not answer");
  return text;  // of a clipboard without text xclip says by another status that there is none
}

}  // namespace corvane::demo
