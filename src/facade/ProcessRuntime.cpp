#include "facade/ProcessRuntime.h"

#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <mutex>
#include <utility>
#include <vector>

#include "api/transport/Transport.h"
#include "async/BackgroundExecutor.h"

namespace corvane {
namespace {

using namespace std::chrono_literals;

struct ProcessRuntime {
  pid_t process;
  std::shared_ptr<BackgroundExecutor> executor;
  std::shared_ptr<Background> background;
  std::shared_ptr<ExchangeLines> lines;
  std::mutex mutex{};
  /// Guarded by `mutex`.
  std::vector<std::function<void()>> atExit{};
};

/// Never destroyed: background work may outlive every static object.
ProcessRuntime* runtime = nullptr;

void endAtExit() {
  if (runtime->process != getpid()) return;
  // The transport runs no code of the host, so it always ends soon; on a busy machine it may first have to
  // read the certificate authorities of each handshake. It must have ended: OpenSSL's own exit hook is next.
  platform::Transport::shared().shutDown(5s);
  runtime->background->post([] { runtime->lines->events->close("the process is exiting"); });
  // The background thread may be inside host code that does not return. Otherwise it has events to queue,
  // thousands of them perhaps.
  runtime->executor->shutDown(200ms, 2s);
  std::vector<std::function<void()>> lasts;
  {
    const std::lock_guard lock(runtime->mutex);
    lasts.swap(runtime->atExit);
  }
  for (const auto& last : lasts) last();
}

ProcessRuntime* makeRuntime() {
  // Registers the exit hook of OpenSSL. Ours is registered after it and so runs before it.
  platform::Transport::shared();
  auto executor = std::make_shared<BackgroundExecutor>();
  runtime = new ProcessRuntime{getpid(), executor, executor, std::make_shared<ExchangeLines>(executor)};
  std::atexit(endAtExit);
  return runtime;
}

}  // namespace

const std::shared_ptr<Background>& processBackground() {
  static const ProcessRuntime* const made = makeRuntime();
  return made->background;
}

const std::shared_ptr<ExchangeLines>& processLines() {
  processBackground();
  return runtime->lines;
}

void runAtExit(std::function<void()> last) {
  processBackground();
  const std::lock_guard lock(runtime->mutex);
  runtime->atExit.push_back(std::move(last));
}

}  // namespace corvane
