#include "Host.h"

#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <future>
#include <string>
#include <thread>

#include "Server.h"
#include "facade/ProcessRuntime.h"
#include "foundation/APIBaseURL.h"
#include "platform/preferences/UserDefaults.h"

std::string corvane::defaultAPIBaseURL() {
  return bench::serverURL();
}

namespace corvane::bench {

const std::filesystem::path& folder() {
  static const auto* const path = [] {
    std::string pattern = std::filesystem::temp_directory_path() / "corvane-bench-XXXXXX";
    if (::mkdtemp(pattern.data()) == nullptr) std::exit(1);
    auto* const made = new std::filesystem::path(pattern);
    // Registered before the library's exit hook, so that it runs after it.
    std::atexit([] { std::filesystem::remove_all(folder()); });
    return made;
  }();
  return *path;
}

std::shared_ptr<Corvane> configure(CorvaneOptions options, const char* file) {
  const std::filesystem::path path(file);
  Corvane::setPlatform({.applicationIdentifier = "com.example.bench",
                        .preferencesFile = path.is_absolute() ? path : folder() / path});
  options.autoTrackInstall = false;
  return Corvane::configure("cv_bench", std::move(options));
}

std::shared_ptr<Corvane> quietClient() {
  platform::UserDefaults::open(folder() / "quiet.sqlite")->setBool(true, "io.corvane.install_tracked");
  return configure({.requireConsent = true}, "quiet.sqlite");
}

void letItSleep() {
  std::promise<void> done;
  processBackground()->post([&] { done.set_value(); });
  done.get_future().wait();
  std::this_thread::sleep_for(std::chrono::microseconds(200));
}

}  // namespace corvane::bench
