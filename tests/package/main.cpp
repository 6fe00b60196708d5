#include <corvane.h>

#include <cassert>
#include <cstdio>

int main() {
  bool assertionsAreOn = false;
  assert((assertionsAreOn = true));  // no project of these has a build type
  if (!assertionsAreOn) std::puts("The library turned the host's assertions off.");

  const auto client = Corvane::configure("cv_outside", {.autoTrackInstall = false});
  client->onAttribution([](const CorvaneAttribution&) { std::puts("attributed"); });
  const bool works = Corvane::shared() == client && !client->lastAttribution();
  const bool compares = CorvaneError::server(500, "a") == CorvaneError::server(500, "a") &&
                        CorvaneError::server(500, "a") != CorvaneError::transport("a");
  std::printf("Corvane %s %s\n", CORVANE_VERSION_STRING, works && compares ? "runs" : "does not run");
  return works && compares && assertionsAreOn ? 0 : 1;
}
