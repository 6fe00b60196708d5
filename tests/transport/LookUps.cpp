#include "LookUps.h"

#include <dlfcn.h>
#include <netdb.h>
#include <netinet/in.h>

#include <condition_variable>
#include <mutex>
#include <string_view>

#include "support/Await.h"

namespace corvane::test {

namespace {

// Never destroyed: threads of name look-ups may outlive main.
struct State {
  std::mutex mutex;
  std::condition_variable changed;
  int hanging = 0;
  int generation = 0;
  bool lateIsKnown = false;
  int lateLookUps = 0;
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

int askForBoth(const char* first, const char* second, const char* service, const addrinfo* hints,
               addrinfo** result) {
  const int code = askFor(first, service, hints, result);
  return code != 0 ? code : askFor(second, service, hints, &(*result)->ai_next);
}

int hang() {
  std::unique_lock lock(state().mutex);
  ++state().hanging;
  state().changed.notify_all();
  const int generation = state().generation;
  await(state().changed, lock, "the release of a name look-up",
        [&] { return state().generation != generation; });
  --state().hanging;
  state().changed.notify_all();
  return EAI_AGAIN;
}

bool lateIsKnown() {
  const std::lock_guard lock(state().mutex);
  ++state().lateLookUps;
  state().changed.notify_all();
  return state().lateIsKnown;
}

int lookUp(std::string_view name, const char* service, const addrinfo* hints, addrinfo** result) {
  if (name == "silent.test") return hang();
  if (name.ends_with(".loopback.test") || (name == "late.test" && lateIsKnown())) {
    return askFor("127.0.0.1", service, hints, result);
  }
  if (name == "unreachable.test") return askForBoth("10.77.1.1", "10.77.1.2", service, hints, result);
  if (name == "refused-last.test") return askForBoth("2001:db8::1", "127.0.0.1", service, hints, result);
  if (name == "refused-first.test") return askForBoth("127.0.0.1", "2001:db8::1", service, hints, result);
  return EAI_NONAME;
}

}  // namespace

void LookUps::release() {
  std::unique_lock lock(state().mutex);
  ++state().generation;
  state().changed.notify_all();
  await(state().changed, lock, "the name look-ups to return", [] { return state().hanging == 0; });
}

void LookUps::awaitSilent() {
  std::unique_lock lock(state().mutex);
  await(state().changed, lock, "a look-up of silent.test", [] { return state().hanging > 0; });
}

void LookUps::makeLateKnown(bool known) {
  const std::lock_guard lock(state().mutex);
  state().lateIsKnown = known;
  state().lateLookUps = 0;
}

void LookUps::awaitLate(int count) {
  std::unique_lock lock(state().mutex);
  await(state().changed, lock, "look-ups of late.test", [&] { return state().lateLookUps >= count; });
}

}  // namespace corvane::test

extern "C" __attribute__((visibility("default"))) int getaddrinfo(const char* node, const char* service,
                                                                  const addrinfo* hints, addrinfo** result) {
  const std::string_view name = node ? node : "";
  if (name.ends_with(".test")) return corvane::test::lookUp(name, service, hints, result);
  return corvane::test::askSystem(node, service, hints, result);
}
