#include <corvane.h>
#include <curl/curl.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>

namespace {

//! [host]
/// The part of the application that the test needs.
struct Shop : std::enable_shared_from_this<Shop> {
  void launch() {
    client = Corvane::configure("cv_test", {.logEnabled = true});
    const std::weak_ptr<Shop> weak = weak_from_this();
    client->onAttribution([weak](const CorvaneAttribution& result) {
      if (const auto shop = weak.lock()) shop->attribution = result;
    });
    client->onLink([weak](const CorvaneDeepLink& link, CorvaneLinkSource) {
      if (const auto shop = weak.lock()) shop->screen = link.path();
    });
    client->onError([weak](const std::exception&) {
      if (const auto shop = weak.lock()) ++shop->failures;
    });
  }

  std::shared_ptr<Corvane> client;
  std::optional<CorvaneAttribution> attribution;
  std::string screen = "/";
  int failures = 0;
};
//! [host]

//! [sandbox]
/// Sends one request to the sandbox, a POST if there is a body. Returns the body of the response.
std::string sandbox(const std::string& path, const std::string& body = {}, const char* method = nullptr) {
  std::string response;
  const auto take = +[](char* data, std::size_t, std::size_t size, std::string* whole) {
    whole->append(data, size);
    return size;
  };
  const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> request(curl_easy_init(), curl_easy_cleanup);
  const std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)> headers(
      curl_slist_append(nullptr, "Content-Type: application/json"), curl_slist_free_all);
  const std::string url = "http://127.0.0.1:8717" + path;
  curl_easy_setopt(request.get(), CURLOPT_URL, url.c_str());
  curl_easy_setopt(request.get(), CURLOPT_HTTPHEADER, headers.get());
  if (!body.empty()) curl_easy_setopt(request.get(), CURLOPT_POSTFIELDS, body.c_str());
  if (method != nullptr) curl_easy_setopt(request.get(), CURLOPT_CUSTOMREQUEST, method);
  curl_easy_setopt(request.get(), CURLOPT_FAILONERROR, 1L);
  curl_easy_setopt(request.get(), CURLOPT_WRITEFUNCTION, take);
  curl_easy_setopt(request.get(), CURLOPT_WRITEDATA, &response);
  const CURLcode code = curl_easy_perform(request.get());
  if (code != CURLE_OK) throw std::runtime_error(path + ": " + curl_easy_strerror(code));
  return response;
}

/// Runs a sandbox during its lifetime. The sandbox exits at the end of its standard input, and so also when
/// the test crashes.
class Sandbox {
 public:
  Sandbox() : input_(::popen("exec corvane-sandbox --exit-on-eof", "w"), &::pclose) {
    for (int attempts = 100; attempts > 0; --attempts) {
      try {
        sandbox("/sandbox/records");
        return;
      } catch (const std::runtime_error&) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
      }
    }
    throw std::runtime_error("the sandbox does not respond");
  }

 private:
  std::unique_ptr<FILE, int (*)(FILE*)> input_;
};
//! [sandbox]

//! [device]
/// The device's clipboard. The test writes and reads it.
class MemoryPasteboard final : public CorvanePasteboard {
 public:
  void copy(std::string text) {
    const std::lock_guard lock(mutex_);
    text_ = std::move(text);
  }

  std::optional<std::string> string() override {
    const std::lock_guard lock(mutex_);
    return text_;
  }

  void clear() override {
    const std::lock_guard lock(mutex_);
    text_.reset();
  }

 private:
  std::mutex mutex_;
  std::optional<std::string> text_;
};

/// A device on which the application was never installed. The next test uses the same folder: the library may
/// write to it until the end of the process.
class Device {
 public:
  Device() {
    std::filesystem::create_directory(folder_);
    Corvane::setPlatform({.applicationIdentifier = "com.example.shop",
                          .preferencesFile = folder_ / "preferences.sqlite",
                          .pasteboard = pasteboard});
    Corvane::resetForTesting();
    sandbox("/sandbox/records", {}, "DELETE");
    sandbox("/sandbox/faults", {}, "DELETE");
  }
  ~Device() { Corvane::setShared(nullptr); }

  const std::shared_ptr<MemoryPasteboard> pasteboard = std::make_shared<MemoryPasteboard>();

 private:
  const std::filesystem::path folder_ = std::filesystem::current_path() / "shop-test-device";
};
//! [device]

//! [run-until]
void expect(const std::string& what, bool holds) {
  if (!holds) throw std::runtime_error("not true: " + what);
}

/// Runs the functions of the main queue until `condition` is true; throws after the deadline.
void runUntil(const std::string& what, const std::function<bool()>& condition) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) throw std::runtime_error("timed out: " + what);
    if (CorvaneMainQueue::main()->poll() == 0) std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
}
//! [run-until]

//! [tests]
void aCampaignOpensItsScreen() {
  const Device device;
  sandbox("/sandbox/links", R"({"slug": "summer", "deepLinkPath": "/offers/7"})");
  // The response holds the text that the landing page copies. The library finds the token in any text.
  device.pasteboard->copy(sandbox("/sandbox/clicks", R"({"slug": "summer"})"));

  const auto shop = std::make_shared<Shop>();
  shop->launch();
  runUntil("the campaign's screen is open", [&] { return shop->screen == "/offers/7"; });
  expect("the install is attributed", shop->attribution && shop->attribution->attributed());
  expect("the pasteboard was emptied", !device.pasteboard->string());
}

void anEventSurvivesAnOutage() {
  const Device device;
  const auto shop = std::make_shared<Shop>();
  shop->launch();
  runUntil("the install has an attribution result", [&] { return shop->attribution.has_value(); });
  sandbox("/sandbox/faults", R"({"path": "/v1/events", "status": 503, "times": 3})");
  shop->client->trackEvent("purchase", 9.99, "EUR");
  runUntil("the event has failed", [&] { return shop->failures == 1; });

  shop->launch();  // like the next start of the application
  runUntil("the purchase is recorded",
           [] { return sandbox("/sandbox/records").find(R"("events":[])") == std::string::npos; });
}
//! [tests]

}  // namespace

//! [main]
int main() {
  try {
    const Sandbox running;
    aCampaignOpensItsScreen();
    anEventSurvivesAnOutage();
    std::puts("All tests passed.");
    return EXIT_SUCCESS;
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "%s\n", failure.what());
    return EXIT_FAILURE;
  }
}
//! [main]
