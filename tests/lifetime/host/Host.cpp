#include "lifetime/host/Host.h"

#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <thread>

#include "api/transport/Transport.h"
#include "facade/ProcessRuntime.h"
#include "support/BaseURL.h"

namespace corvane::test {

void prepare(const Host& host) {
  setBaseURL(host.baseURL);
  Corvane::setPlatform({.applicationIdentifier = "com.example.lifetime",
                        .preferencesFile = host.folder / "preferences.sqlite"});
}

std::shared_ptr<Corvane> configure(CorvaneOptions options) {
  options.logEnabled = true;
  options.logLevel = CorvaneLogLevel::debug;
  options.requestTimeout = 60;
  return Corvane::configure("cv_live_test", std::move(options));
}

void sayLeaving() {
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  ::dprintf(STDOUT_FILENO, "leaving %lld\n", static_cast<long long>(std::chrono::nanoseconds(now).count()));
}

int leave(const std::string& ending, int status) {
  if (ending == "exit") std::exit(status);
  if (ending == "exit on a thread") std::thread([status] { std::exit(status); }).join();
  return status;
}

void settle() {
  // The transport's thread runs the completion of this invalid exchange after all earlier work.
  std::promise<void> transportDone;
  platform::Transport::shared().begin({.url = "http://127.0.0.1/\n"},
                                      platform::URLSessionConfiguration::default_(),
                                      [&](const platform::URLSessionResult&) { transportDone.set_value(); });
  transportDone.get_future().wait();
  // A resumed task may post again.
  for (int turn = 0; turn < 3; ++turn) {
    std::promise<void> done;
    processBackground()->post([&] { done.set_value(); });
    done.get_future().wait();
  }
}

}  // namespace corvane::test
