#include <corvane.h>

#include <cstdio>

int main() {
  const auto client = Corvane::configure("cv_outside", {.autoTrackInstall = false});
  client->onAttribution([](const CorvaneAttribution&) { std::puts("attributed"); });
  const bool works = Corvane::shared() == client && !client->lastAttribution();
  std::printf("Corvane %s %s\n", CORVANE_VERSION_STRING, works ? "runs" : "does not run");
  return works ? 0 : 1;
}
