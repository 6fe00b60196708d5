#include <corvane.h>

#include <cstdio>

//! [console]
int main() {
  Corvane::setPlatform({.applicationIdentifier = "com.example.shop"});
  const auto app = Corvane::configure("cv_your_key", {.logEnabled = true});

  app->onAttribution([](const CorvaneAttribution& verdict) {
    std::puts(verdict.attributed() ? "This install came from a campaign." : "This install is organic.");
    CorvaneMainQueue::main()->stop();
  });
  app->onLink(
      [](const CorvaneDeepLink& link, CorvaneLinkSource) { std::printf("Open %s\n", link.path().c_str()); });
  app->onError([](const std::exception& error) {
    std::printf("That did not work: %s\n", error.what());
    CorvaneMainQueue::main()->stop();
  });

  CorvaneMainQueue::main()->run();  // until one of the callbacks stops it
}
//! [console]
