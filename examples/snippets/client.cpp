#include <corvane.h>

#include <coroutine>
#include <cstdio>
#include <exception>
#include <memory>
#include <string>
#include <string_view>

// How an application calls the library, one function per subject.

struct Shop {
  void open(const std::string& path);
  void say(const std::string& text);
};

bool openOwnURL(std::string_view url);

//! [options]
CorvaneOptions shopOptions() {
  return {.logEnabled = true,                  // log lines on standard output; off by default
          .logLevel = CorvaneLogLevel::debug,  // every request and every decision
          .linkDomains = {"go.shop.example"},  // hosts of tracking links; empty: every host
          .requireConsent = true};             // counts nothing before setConsent(true)
}
//! [options]

//! [callbacks]
void registerCallbacks(Corvane& client, const std::shared_ptr<Shop>& shop) {
  const std::weak_ptr<Shop> weak = shop;
  client.onAttribution([weak](const CorvaneAttribution& result) {
    const auto alive = weak.lock();
    if (alive && result.attributed()) alive->say("Welcome! Your discount is waiting.");
  });
  client.onLink([weak](const CorvaneDeepLink& link, CorvaneLinkSource source) {
    const auto alive = weak.lock();
    if (!alive) return;
    if (source == CorvaneLinkSource::deferred) alive->say("Here is the page that you opened.");
    alive->open(link.path());
  });
  client.onError([](const std::exception& failure) {
    const auto* error = dynamic_cast<const CorvaneError*>(&failure);
    if (error != nullptr && error->case_() == CorvaneError::Case::invalidAPIKey)
      std::fprintf(stderr, "The API key is wrong: %s\n", error->what());
  });
}
//! [callbacks]

//! [links]
bool openURL(Corvane& client, std::string_view url) {
  return client.handleDeepLink(url) || openOwnURL(url);
}
//! [links]

//! [events]
void trackPurchase(Corvane& client) {
  client.trackEvent("sign_up");
  client.trackEvent("purchase", 9.99, "EUR");
}
//! [events]

//! [get]
std::string attributionText(Corvane& client) {
  const CorvaneTask<CorvaneAttribution> task = client.trackInstallAsync(false);
  try {
    return task.get().attributed() ? "from a campaign" : "organic";
  } catch (const CorvaneError& error) {
    return "unknown: " + error.errorDescription();
  } catch (const CorvaneCancellationError&) {
    return "unknown: cancelled";
  }
}
//! [get]

//! [when-done]
void buy(Corvane& client, const std::shared_ptr<Shop>& shop) {
  const auto task = client.trackEventAsync("purchase", 9.99, "EUR");
  task.whenDone([shop](const CorvaneTask<CorvaneEventResult>& done) {
    try {
      const CorvaneEventResult result = done.get();
      if (result.id()) shop->say("The purchase was recorded.");
    } catch (const std::exception&) {
      shop->say("The purchase is stored and will be sent again.");
    }
  });
}
//! [when-done]

//! [co_await]
/// A detached coroutine: it starts at once, owns itself, and must not throw.
struct Started {
  struct promise_type {
    Started get_return_object() { return {}; }
    std::suspend_never initial_suspend() noexcept { return {}; }
    std::suspend_never final_suspend() noexcept { return {}; }
    void return_void() {}
    void unhandled_exception() { std::terminate(); }
  };
};

Started openLink(std::shared_ptr<Corvane> client, std::shared_ptr<Shop> shop, std::string url) {
  try {
    const CorvaneTask<CorvaneDeepLink> task = client->handleDeepLinkAsync(url);
    const CorvaneDeepLink link = co_await task;  // resumes on the main thread
    shop->open(link.path());
  } catch (const std::exception& failure) {
    shop->say(failure.what());
  }
}
//! [co_await]

//! [consent]
void consentDialogClosed(bool agreed) {
  if (const auto client = Corvane::shared()) client->setConsent(agreed);
}
//! [consent]
