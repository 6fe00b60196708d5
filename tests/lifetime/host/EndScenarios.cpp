#include <curl/curl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <thread>

#include "api/transport/Transport.h"
#include "lifetime/host/Host.h"

namespace {

bool isForkedChild = false;

}  // namespace

/// LeakSanitizer calls this when it is linked. A forked child has the memory, but not the stacks, of the
/// parent's other threads, so memory that only they refer to would count as leaked.
extern "C" __attribute__((visibility("default"))) int __lsan_is_turned_off() {
  return isForkedChild ? 1 : 0;
}

namespace corvane::test {
namespace {

/// Installs in progress, each of another client: some wait for a response, some for another attempt.
struct Installs {
  std::vector<std::shared_ptr<Corvane>> clients;
  std::vector<CorvaneTask<CorvaneAttribution>> tasks;
};

Installs beginInstalls() {
  Installs begun;
  for (int i = 0; i < 3; ++i) {
    const auto client = configure();
    client->onError([](const std::exception&) {});
    begun.tasks.push_back(client->trackInstallAsync("cv_click=0123456789abcdef0123456789abcdef", false));
    begun.tasks.back().whenDone([client](const auto&) {});
    begun.clients.push_back(client);
  }
  return begun;
}

/// An exchange over TLS on the process's transport with a server that only this session trusts.
void beginTrustedExchange(const std::string& url, const std::string& authorityFile) {
  auto configuration = platform::URLSessionConfiguration::default_();
  configuration.certificateAuthorityFile = authorityFile;
  platform::Transport::shared().begin({.url = url}, configuration, [](const platform::URLSessionResult&) {});
}

/// The host's own use of libcurl, from its initialisation to its clean-up.
void useLibcurl(const std::string& url, const std::string& authorityFile) {
  curl_global_init(CURL_GLOBAL_DEFAULT);
  CURL* const easy = curl_easy_init();
  curl_easy_setopt(easy, CURLOPT_URL, url.c_str());
  curl_easy_setopt(easy, CURLOPT_CAINFO, authorityFile.c_str());
  curl_easy_setopt(easy, CURLOPT_CAPATH, nullptr);
  curl_easy_setopt(easy, CURLOPT_CONNECT_ONLY, 1L);
  curl_easy_perform(easy);
  curl_easy_cleanup(easy);
  curl_global_cleanup();
}

/// Whether a fork waits for the work of the transport's thread, and a forked child that prints and calls
/// `exit` ends with its own status.
bool forkedChildEnds() {
  std::promise<void> begun;
  std::atomic<bool> works = true;
  platform::Transport::shared().begin({.url = "http://127.0.0.1/\n"},
                                      platform::URLSessionConfiguration::default_(),
                                      [&](const platform::URLSessionResult&) {
                                        begun.set_value();
                                        std::this_thread::sleep_for(std::chrono::milliseconds(20));
                                        works = false;
                                      });
  begun.get_future().wait();
  const pid_t child = ::fork();
  const bool forkedTooEarly = works;
  if (child == 0) {
    isForkedChild = true;
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    ::alarm(5);  // The exit hook of the parent would take 5.2 s here, for threads that do not exist.
    std::puts("the forked child ends");
    std::exit(3);
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  return !forkedTooEarly && WIFEXITED(status) && WEXITSTATUS(status) == 3;
}

bool has(const Host& host, const std::string& argument) {
  return std::ranges::find(host.arguments, argument) != host.arguments.end();
}

}  // namespace

/// Arguments: the exit status, how to exit, after how many microseconds, another TLS server to connect to (or
/// a blank), its authority file, and what else the host does.
int endWithInstallsInFlight(const Host& host) {
  const int status = std::stoi(host.arguments.at(0));
  const std::string trustedURL = host.arguments.at(3), authorityFile = host.arguments.at(4);
  const bool usesLibcurl = has(host, "libcurl");
  if (usesLibcurl) {
    useLibcurl(trustedURL, authorityFile);
    curl_global_init(CURL_GLOBAL_DEFAULT);
    std::atexit(curl_global_cleanup);
  }
  prepare(host);
  const Installs installs = beginInstalls();
  if (trustedURL != " ") beginTrustedExchange(trustedURL, authorityFile);
  if (usesLibcurl) useLibcurl(trustedURL, authorityFile);
  std::this_thread::sleep_for(std::chrono::microseconds(std::stol(host.arguments.at(2))));
  if (has(host, "fork") && !forkedChildEnds()) return 99;
  sayLeaving();
  return leave(host.arguments.at(1), status);
}

/// Prints how an operation ends that begins after the end of the runtime.
int useTheLibraryFromStaticDestructors(const Host& host) {
  struct LateUser {
    std::shared_ptr<Corvane> client;
    ~LateUser() {
      client->trackInstall(true);
      try {
        client->trackInstallAsync(true).get();
      } catch (const CorvaneCancellationError&) {
        std::puts("cancelled");
      }
    }
  };
  // Made before the runtime, so it is destroyed after the runtime has ended.
  static LateUser late;
  prepare(host);
  late.client = configure();
  return 7;
}

}  // namespace corvane::test
