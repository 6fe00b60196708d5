#include "api/transport/Transport.h"

#include <curl/curl.h>
#include <pthread.h>

#include <system_error>
#include <utility>

#include "api/transport/LibcurlSetup.h"
#include "api/transport/TransportExchange.h"
#include "api/transport/TransportLoop.h"
#include "async/LibraryThread.h"

namespace corvane::platform {

namespace {

constexpr const char* exitingText = "the process is exiting";

}  // namespace

Transport& Transport::shared() {
  static Transport* const transport = [] {
    auto* const made = new Transport;
    pthread_atfork([] { shared().working_.lock(); }, [] { shared().working_.unlock(); },
                   [] { shared().working_.unlock(); });
    return made;
  }();
  return *transport;
}

Transport::Transport(RunningClock::Source time) : clock_(std::move(time)) {
  if (!wakeUp_.isUsable()) {
    refusal_ = curl_easy_strerror(CURLE_FAILED_INIT);
    return;
  }
  if (!prepareLibcurl()) initialiseLibcurl();
  startThread();
}

Transport::~Transport() {
  {
    const std::lock_guard lock(mutex_);
    if (refusal_.empty()) {
      refusal_ = exitingText;
      wakeUp_.wake();
    }
  }
  if (thread_.joinable()) thread_.join();
}

void Transport::startThread() {
  try {
    thread_ = startLibraryThread([this] { run(); });
  } catch (const std::system_error& error) {
    refusal_ = std::string("no thread for the transport: ") + error.what();
  }
}

Transport::ExchangeID Transport::begin(URLRequest request, const URLSessionConfiguration& configuration,
                                       Completion completion) {
  auto exchange = std::make_unique<TransportExchange>();
  exchange->request = std::move(request);
  exchange->configuration = configuration;
  exchange->completion = std::move(completion);
  std::string refusal;
  ExchangeID id;
  {
    const std::lock_guard lock(mutex_);
    id = exchange->id = ++lastID_;
    refusal = refusal_;
    if (refusal.empty()) {
      wakeForFirstCommand();
      commands_.begun.push_back(std::move(exchange));
    }
  }
  if (!refusal.empty()) exchange->completion(std::move(refusal));
  return id;
}

void Transport::cancel(ExchangeID exchange) {
  const std::lock_guard lock(mutex_);
  if (!refusal_.empty()) return;  // all exchanges are about to end
  wakeForFirstCommand();
  commands_.cancelled.push_back(exchange);
}

/// Call it under `mutex_`, before a command is added. When commands are pending, the thread has been woken
/// and has not yet taken them.
void Transport::wakeForFirstCommand() {
  if (commands_.begun.empty() && commands_.cancelled.empty()) wakeUp_.wake();
}

bool Transport::shutDown(std::chrono::milliseconds timeout) {
  std::unique_lock lock(mutex_);
  if (refusal_.empty()) {
    refusal_ = exitingText;
    wakeUp_.wake();
  }
  if (!thread_.joinable()) return true;
  if (!threadEnd_.wait_for(lock, timeout, [this] { return threadEnded_; })) return false;
  // After `threadEnded_` the thread takes no lock, so a join under this one cannot deadlock. The lock makes a
  // second caller wait for the join.
  thread_.join();
  return true;
}

/// Returns why there is no loop, or an empty text.
std::string Transport::setUp() {
  const std::lock_guard working(working_);
  if (const CURLcode code = initialiseLibcurl(); code != CURLE_OK) {
    return curl_easy_strerror(code);
  }
  auto loop = std::make_unique<TransportLoop>(wakeUp_, std::move(clock_), eventCapacity_);
  if (!loop->isUsable()) return curl_easy_strerror(CURLE_FAILED_INIT);
  loop_ = std::move(loop);
  return {};
}

void Transport::refuseFurther(const std::string& reason) {
  const std::lock_guard lock(mutex_);
  if (refusal_.empty()) refusal_ = reason;
}

void Transport::run() {
  pthread_setname_np(pthread_self(), "corvane-http");
  if (const std::string failure = setUp(); !failure.empty()) refuseFurther(failure);
  std::string refusal;
  for (;;) {
    Commands commands;
    {
      const std::lock_guard lock(mutex_);
      std::swap(commands, commands_);
      refusal = refusal_;
    }
    std::unique_lock working(working_);
    if (!loop_) {
      for (const auto& exchange : commands.begun) exchange->completion(refusal);
      break;
    }
    for (auto& exchange : commands.begun) loop_->begin(std::move(exchange));
    for (const ExchangeID exchange : commands.cancelled) loop_->cancel(exchange);
    if (!refusal.empty()) break;
    loop_->work();
    working.unlock();
    if (const std::string failure = loop_->sleep(); !failure.empty()) {
      // The failure may be permanent (a descriptor limit of zero, for example), so there is no second try.
      refuseFurther(failure);
    }
  }
  if (loop_) {
    const std::lock_guard working(working_);
    loop_->failAll(refusal);
    loop_.reset();
  }
  const std::lock_guard lock(mutex_);
  threadEnded_ = true;
  threadEnd_.notify_all();
}

}  // namespace corvane::platform
