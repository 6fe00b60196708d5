#include "LookUps.h"

#include <dlfcn.h>
#include <netdb.h>
#include <netinet/in.h>

#include <condition_variable>
#include <mutex>
#include <string_view>

namespace corvane::test {

namespace {

// Never destroyed: look-up threads may outlive main.
struct State {
  std::mutex mutex;
  std::condition_variable changed;
  int hanging = 0;
  int generation = 0;
  bool lateIsKnown = false;
};

State& state() {
  static State* const shared = new State;
  return *shared;
}

using GetAddrInfo = int(const char*, const char*, const addrinfo*, addrinfo**);

int askSystem(const char* node, const char* service, const addrinfo* hints, addrinfo** result) {
  static auto* const system = reinterpret_cast<GetAddrInfo*>(dlsym(RTLD_NEXT, "getaddrinfo"));
  return system(node, service, hints, result);
}

int askFor(const char* address, const char* service, const addrinfo* hints, addrinfo** result) {
  addrinfo any = *hints;
  any.ai_family = AF_UNSPEC;
  any.ai_flags = AI_NUMERICHOST;
  return askSystem(address, service, &any, result);
}

int hang() {
  std::unique_lock lock(state().mutex);
  ++state().hanging;
  state().changed.notify_all();
  const int generation = state().generation;
  state().changed.wait(lock, [&] { return state().generation != generation; });
  --state().hanging;
  state().changed.notify_all();
  return EAI_AGAIN;
}

bool lateIsKnown() {
  const std::lock_guard lock(state().mutex);
  return state().lateIsKnown;
}

int lookUp(std::string_view name, const char* service, const addrinfo* hints, addrinfo** result) {
  if (name == "silent.test") return hang();
  if (name.ends_with(".loopback.test") || (name == "late.test" && lateIsKnown())) {
    return askFor("127.0.0.1", service, hints, result);
  }
  if (name == "both.test") {
    const int code = askFor("2001:db8::1", service, hints, result);
    return code != 0 ? code : askFor("127.0.0.1", service, hints, &(*result)->ai_next);
  }
  return EAI_NONAME;
}

}  // namespace

void LookUps::release() {
  std::unique_lock lock(state().mutex);
  ++state().generation;
  state().changed.notify_all();
  state().changed.wait(lock, [] { return state().hanging == 0; });
}

void LookUps::awaitSilent() {
  std::unique_lock lock(state().mutex);
  state().changed.wait(lock, [] { return state().hanging > 0; });
}

void LookUps::makeLateKnown(bool known) {
  const std::lock_guard lock(state().mutex);
  state().lateIsKnown = known;
}

}  // namespace corvane::test

extern "C" __attribute__((visibility("default"))) int getaddrinfo(const char* node, const char* service,
                                                                  const addrinfo* hints, addrinfo** result) {
  const std::string_view name = node ? node : "";
  if (name.ends_with(".test")) return corvane::test::lookUp(name, service, hints, result);
  return corvane::test::askSystem(node, service, hints, result);
}
