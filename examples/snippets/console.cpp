#include <corvane.h>

#include <cstdio>

//! [console]
int main() {
  Corvane::setPlatform({.applicationIdentifier = "com.example.shop"});
  const auto app = Corvane::configure("cv_your_key", {.logEnabled = true});

  app->onAttribution([](const CorvaneAttribution& result) {
    std::puts(result.attributed() ? "This install came from a campaign." : "This install is organic.");
    CorvaneMainQueue::main()->stop();
  });
  app->onLink(
      [](const CorvaneDeepLink& link, CorvaneLinkSource) { std::printf("Open %s\n", link.path().c_str()); });
  app->onError([](const std::exception& error) {
    std::printf("Error: %s\n", error.what());
    CorvaneMainQueue::main()->stop();
  });

  CorvaneMainQueue::main()->run();  // returns when a callback calls stop
}
//! [console]
