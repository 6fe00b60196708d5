#include <corvane.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <exception>
#include <iterator>
#include <sstream>
#include <string>

namespace {

void registerCallbacks(Corvane& app) {
  app.onAttribution([](const CorvaneAttribution& result) {
    std::puts(result.attributed() ? "This install came from a campaign." : "This install is organic.");
  });
  app.onLink(
      [](const CorvaneDeepLink& link, CorvaneLinkSource) { std::printf("Open %s\n", link.path().c_str()); });
  app.onError([](const std::exception& error) { std::printf("Error: %s\n", error.what()); });
}

/// Reads standard input, where each line is a URL to open. Returns false at its end.
bool readURLs(Corvane& app) {
  char text[4096];
  const ssize_t size = ::read(STDIN_FILENO, text, sizeof text);
  if (size <= 0) return false;
  std::istringstream lines(std::string(text, static_cast<std::size_t>(size)));
  for (std::string url; std::getline(lines, url);) {
    if (!app.handleDeepLink(url)) std::puts("Not a tracking link.");
  }
  return true;
}

}  // namespace

//! [own-loop]
int main() {
  const auto queue = CorvaneMainQueue::main();
  const int wakeUp = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  queue->onWakeUp([wakeUp] { ::eventfd_write(wakeUp, 1); });

  Corvane::setPlatform({.applicationIdentifier = "com.example.shop"});
  const auto app = Corvane::configure("cv_your_key", {.logEnabled = true});
  registerCallbacks(*app);

  for (bool open = true; open;) {
    pollfd watched[] = {{wakeUp, POLLIN, 0}, {STDIN_FILENO, POLLIN, 0}};
    if (::poll(watched, std::size(watched), -1) < 0) {
      if (errno == EINTR) continue;
      return 1;
    }
    if (watched[0].revents != 0) {
      eventfd_t calls = 0;
      ::eventfd_read(wakeUp, &calls);  // before poll: a function that is posted later wakes the loop again
      queue->poll();
    }
    if (watched[1].revents != 0) open = readURLs(*app);
  }
}
//! [own-loop]
