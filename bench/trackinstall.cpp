// How long a call of `trackInstall(false)` holds the thread that calls it, the host's UI thread.

#include <arpa/inet.h>
#include <corvane/Corvane.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "foundation/APIBaseURL.h"
#include "foundation/StoreKeys.h"
#include "platform/UserDefaults.h"

namespace {

/// A server that takes connections and never answers: nobody accepts them.
class SilentServer {
 public:
  SilentServer() : listener_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* const name = reinterpret_cast<sockaddr*>(&address);
    if (::bind(listener_, name, size) != 0 || ::listen(listener_, 16) != 0 ||
        ::getsockname(listener_, name, &size) != 0) {
      std::perror("silent server");
      std::exit(1);
    }
    url_ = "http://127.0.0.1:" + std::to_string(ntohs(address.sin_port));
  }
  ~SilentServer() { ::close(listener_); }
  SilentServer(const SilentServer&) = delete;
  SilentServer& operator=(const SilentServer&) = delete;

  const std::string& url() const { return url_; }

 private:
  int listener_;
  std::string url_;
};

const SilentServer& server() {
  static const SilentServer silent;
  return silent;
}

/// Calls it often, with the pause that lets the background thread fall asleep, so that waking it counts too.
void measure(const char* title, Corvane& client, std::chrono::microseconds pause) {
  using Clock = std::chrono::steady_clock;
  constexpr int calls = 2000;
  std::vector<double> microseconds;
  for (int i = 0; i < calls; ++i) {
    const auto before = Clock::now();
    client.trackInstall(false);
    microseconds.push_back(std::chrono::duration<double, std::micro>(Clock::now() - before).count());
    if (pause.count() > 0) ::usleep(static_cast<useconds_t>(pause.count()));
  }
  std::ranges::sort(microseconds);
  std::printf("%-44s median %6.1f µs, 99%% within %6.1f µs, longest %6.1f µs\n", title,
              microseconds[calls / 2], microseconds[calls * 99 / 100], microseconds.back());
}

}  // namespace

std::string corvane::defaultAPIBaseURL() {
  return server().url();
}

int main() {
  using namespace std::chrono_literals;
  std::string pattern = std::filesystem::temp_directory_path() / "corvane-bench-XXXXXX";
  if (mkdtemp(pattern.data()) == nullptr) return 1;
  const std::filesystem::path folder = pattern;
  const auto file = folder / "preferences.sqlite";

  Corvane::setPlatform({.preferencesFile = file});
  const auto client = Corvane::configure("cv_live_bench", {.autoTrackInstall = false});
  measure("in flight, nothing answers, one by one", *client, 500us);
  measure("in flight, nothing answers, in a burst", *client, 0us);
  const std::string tracked =
      std::string(corvane::keys::prefix) + "." + std::string(corvane::keys::installTracked);
  corvane::platform::UserDefaults::open(file)->setBool(true, tracked);
  measure("already tracked, one by one", *client, 500us);
  measure("already tracked, in a burst", *client, 0us);

  std::error_code ignored;
  std::filesystem::remove_all(folder, ignored);
}
