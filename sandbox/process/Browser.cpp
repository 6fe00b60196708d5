#include "process/Browser.h"

#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <nlohmann/json.hpp>
#include <stdexcept>
#include <utility>
#include <vector>

namespace corvane::test {
namespace {

using nlohmann::json;

constexpr int timeout = 60'000;  // milliseconds

std::string quoted(const std::string& text) {
  return json(text).dump();
}

}  // namespace

std::string Browser::executable() {
  for (const char* path : {"/usr/bin/chromium", "/usr/bin/chromium-browser", "/usr/bin/google-chrome"}) {
    if (access(path, X_OK) == 0) return path;
  }
  return "";
}

Browser::Browser(std::filesystem::path profile, Screen screen) : profile_(std::move(profile)) {
  std::filesystem::create_directories(profile_);
  start(screen);
  try {
    beginTab(screen);
  } catch (...) {
    end();
    throw;
  }
}

void Browser::start(Screen screen) {
  std::vector<std::string> words = {"--no-sandbox",
                                    "--disable-gpu",
                                    "--no-first-run",
                                    "--disable-background-networking",
                                    "--disable-dev-shm-usage",
                                    "--no-proxy-server",
                                    "--host-resolver-rules=MAP phone.local 127.0.0.1",
                                    "--user-data-dir=" + profile_.string(),
                                    "--remote-debugging-pipe"};
  words.push_back(screen == Screen::none ? "--headless" : "--no-startup-window");
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
    throw std::runtime_error("browser: no pipe");
  pipe_ = Descriptor(ends[0]);
  const Descriptor theirs(ends[1]);
  ChildOptions options;
  options.standardError = ChildOptions::StandardError::discarded;
  options.descriptors = {{3, theirs.number()}, {4, theirs.number()}};  // it reads from 3 and writes to 4
  process_.emplace(executable(), std::move(words), options);
}

Browser::~Browser() {
  end();
}

void Browser::end() {
  process_->kill(SIGTERM);
  process_->awaitEnd();
  // The browser's child processes may run a little longer and still write there.
  std::error_code error;
  for (int attempts = 0; attempts == 0 || (error && attempts < 100); ++attempts)
    std::filesystem::remove_all(profile_, error);
}

void Browser::beginTab(Screen screen) {
  json page = {{"url", "about:blank"}};
  if (screen == Screen::display)
    page.update({{"newWindow", true}, {"left", 0}, {"top", 0}, {"width", 500}, {"height", 780}});
  const json target = command("Target.createTarget", page);
  session_ =
      command("Target.attachToTarget", {{"targetId", target["targetId"]}, {"flatten", true}})["sessionId"];
  command("Page.enable", json::object());
  if (screen == Screen::display) return;
  command("Emulation.setFocusEmulationEnabled", {{"enabled", true}});
  command("Emulation.setDeviceMetricsOverride",
          {{"width", 390}, {"height", 844}, {"deviceScaleFactor", 1}, {"mobile", true}});
}

void Browser::allowClipboard(const std::string& origin) {
  command("Browser.grantPermissions",
          {{"origin", origin}, {"permissions", {"clipboardReadWrite", "clipboardSanitizedWrite"}}});
}

void Browser::open(const std::string& url) {
  command("Page.navigate", {{"url", url}});
  awaitEvent("Page.loadEventFired");
}

json Browser::evaluate(const std::string& expression) {
  const json answer = command(
      "Runtime.evaluate",
      {{"expression", expression}, {"awaitPromise", true}, {"returnByValue", true}, {"userGesture", true}});
  if (answer.contains("exceptionDetails")) throw std::runtime_error("browser: " + answer.dump());
  return answer["result"].value("value", json());
}

void Browser::awaitTrue(const std::string& expression) {
  evaluate(
      "new Promise((resolve) => {"
      "  const look = () => { if (" +
      expression +
      ") { watcher.disconnect(); resolve(true); } };"
      "  const watcher = new MutationObserver(look);"
      "  watcher.observe(document, {subtree: true, childList: true, attributes: true, characterData: true});"
      "  look();"
      "})");
}

void Browser::press(const std::string& selector) {
  // While the page is still loading, the element may move between finding its place and the press.
  for (int attempts = 0; attempts < 100; ++attempts) {
    const json middle = evaluate("(() => { const element = document.querySelector(" + quoted(selector) +
                                 ");"
                                 " element.scrollIntoView({block: 'center', behavior: 'instant'});"
                                 " window.pressed = false;"
                                 " element.addEventListener('click', () => window.pressed = true,"
                                 " {capture: true, once: true});"
                                 " const box = element.getBoundingClientRect();"
                                 " return {x: box.x + box.width / 2, y: box.y + box.height / 2}; })()");
    for (const char* type : {"mousePressed", "mouseReleased"}) {
      command(
          "Input.dispatchMouseEvent",
          {{"type", type}, {"x", middle["x"]}, {"y", middle["y"]}, {"button", "left"}, {"clickCount", 1}});
    }
    if (evaluate("window.pressed")) return;
  }
  throw std::runtime_error("browser: cannot press " + selector);
}

Browser::Point Browser::placeOnDisplay(const std::string& selector) {
  const json place =
      evaluate("(() => { const element = document.querySelector(" + quoted(selector) +
               ");"
               " const box = element.getBoundingClientRect();"
               " const frame = (outerWidth - innerWidth) / 2;"
               " return {x: screenX + frame + box.x + box.width / 2,"
               " y: screenY + outerHeight - innerHeight - frame + box.y + box.height / 2}; })()");
  return {static_cast<int>(place["x"].get<double>()), static_cast<int>(place["y"].get<double>())};
}

void Browser::type(const std::string& selector, const std::string& text) {
  press(selector);
  command("Input.insertText", {{"text", text}});
}

json Browser::command(const std::string& method, const json& parameters) {
  const int number = ++lastNumber_;
  json message = {{"id", number}, {"method", method}, {"params", parameters}};
  if (!session_.empty()) message["sessionId"] = session_;
  send(message);
  for (;;) {
    json answer = nextMessage();
    if (answer.value("id", 0) != number) continue;
    if (answer.contains("error"))
      throw std::runtime_error("browser: " + method + ": " + answer["error"].dump());
    return answer["result"];
  }
}

void Browser::awaitEvent(const std::string& method) {
  while (nextMessage().value("method", "") != method) {
  }
}

void Browser::send(const json& message) {
  const std::string text = message.dump();
  const std::size_t size = text.size() + 1;  // the NUL ends a message
  for (std::size_t sent = 0; sent < size;) {
    const ssize_t count = ::send(pipe_.number(), text.c_str() + sent, size - sent, MSG_NOSIGNAL);
    if (count <= 0) throw std::runtime_error("browser: it has ended");
    sent += static_cast<std::size_t>(count);
  }
}

json Browser::nextMessage() {
  for (;;) {
    if (const auto end = received_.find('\0'); end != std::string::npos) {
      json message = json::parse(received_.substr(0, end));
      received_.erase(0, end + 1);
      return message;
    }
    pollfd ready{pipe_.number(), POLLIN, 0};
    char buffer[65536];
    const ssize_t count = poll(&ready, 1, timeout) == 1 ? read(pipe_.number(), buffer, sizeof buffer) : 0;
    if (count <= 0) throw std::runtime_error("browser: no response");
    received_.append(buffer, static_cast<std::size_t>(count));
  }
}

}  // namespace corvane::test
