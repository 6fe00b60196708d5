#include "api/transport/TransportLoop.h"

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

#include "api/transport/TransportRedirect.h"

namespace corvane::platform {

using std::chrono::milliseconds;
using Stage = TransportTransfer::Stage;

namespace {

/// Less than what `RunningClock` counts at most.
constexpr std::chrono::seconds longestSleepInProgress(1);

bool isHeld(const TransportExchange& exchange) {
  return exchange.pool && !exchange.time.runs();
}

milliseconds silenceLimit(const URLRequest& request) {
  return std::clamp<std::chrono::seconds>(request.timeoutInterval, std::chrono::seconds(1),
                                          std::chrono::hours(24));
}

/// How long libcurl may take to connect.
milliseconds timeToConnect(const TransportExchange& exchange, RunningClock::TimePoint now) {
  const auto left = std::chrono::ceil<milliseconds>(exchange.time.left(now));
  return std::max(milliseconds(1), std::min(left, silenceLimit(exchange.request)));
}

CURLSH* makeShare() {
  CURLSH* const share = curl_share_init();
  if (!share) return nullptr;
  curl_share_setopt(share, CURLSHOPT_SHARE, CURL_LOCK_DATA_SSL_SESSION);
  curl_share_setopt(share, CURLSHOPT_SHARE, CURL_LOCK_DATA_DNS);
  return share;
}

std::string timeoutText(const TransportTransfer& transfer, milliseconds waited) {
  const std::string after = " timed out after " + std::to_string(waited.count()) + " milliseconds";
  switch (transfer.stage()) {
    case Stage::held:
      return "Operation" + after + " without a connection";
    case Stage::resolving:
      return "Resolving" + after;
    case Stage::connecting:
      return "Connection" + after;
    case Stage::sending:
      break;
  }
  return "Operation" + after + " with " + std::to_string(transfer.bodyBytesReceived()) + " bytes received";
}

std::string silenceText(milliseconds limit) {
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(limit);
  return "Operation too slow. Less than 1 bytes/sec transferred the last " + std::to_string(seconds.count()) +
         " seconds";
}

}  // namespace

TransportLoop::TransportLoop(const WakeUp& wakeUp, RunningClock clock,
                             std::atomic<std::size_t>& eventCapacity)
    : wakeUp_(wakeUp),
      clock_(std::move(clock)),
      now_(clock_.now()),
      eventCapacity_(eventCapacity),
      shared_(makeShare()) {}

void TransportLoop::begin(std::unique_ptr<TransportExchange> exchange) {
  if (auto malformed = validationError(exchange->request)) {
    return exchange->completion(std::move(*malformed));
  }
  now_ = clock_.now();
  exchange->time = ExchangeTime(exchange->configuration.exchangeTimeout());
  if (idleTransfers_.empty()) {
    exchange->transfer = std::make_unique<TransportTransfer>(shared_.get());
  } else {
    exchange->transfer = std::move(idleTransfers_.back());
    idleTransfers_.pop_back();
  }
  active_.push_back(std::move(exchange));
  startRequest(*active_.back());
}

void TransportLoop::cancel(std::uint64_t id) {
  const auto found = std::ranges::find_if(active_, [id](const auto& each) { return each->id == id; });
  if (found != active_.end()) complete(**found, "cancelled");
}

void TransportLoop::work() {
  setBounds();
  workOn(interactive_);
  workOn(events_);
  now_ = clock_.now();
  noteProgress();
  observeEvents();
  collectFinished(interactive_);
  collectFinished(events_);
  handleNetworkChanges();
  failExpired();
}

void TransportLoop::failAll(const std::string& reason) {
  while (!active_.empty()) complete(*active_.back(), reason);
}

void TransportLoop::workOn(ConnectionPool& pool) {
  const CURLMcode code = pool.work(polled_);
  if (code == CURLM_OK) return;
  for (TransportExchange* exchange :
       activeWhere([&](const TransportExchange& each) { return each.pool == &pool; })) {
    complete(*exchange, curl_multi_strerror(code));
  }
}

/// Notes which requests have begun or transferred something since the last time.
void TransportLoop::noteProgress() {
  for (const auto& exchange : active_) {
    if (!exchange->pool) continue;
    const TransportTransfer& transfer = *exchange->transfer;
    const Stage stage = std::exchange(exchange->latestStage, transfer.stage());
    const curl_off_t sent = std::exchange(exchange->sent, transfer.bytesSent());
    const curl_off_t received = std::exchange(exchange->received, transfer.bytesReceived());
    const bool isOnConnection = stage != exchange->latestStage && exchange->latestStage == Stage::sending;
    if (isOnConnection || received != exchange->received) exchange->pool->latestProgress = now_;
    if (stage == exchange->latestStage && sent == exchange->sent && received == exchange->received) continue;
    exchange->time.run(now_);
    exchange->latestProgress = now_;
  }
}

void TransportLoop::observeEvents() {
  if (events_.takeOpened()) admission_.opened();
  std::size_t begun = 0, held = 0;
  for (const auto& exchange : active_) {
    if (exchange->pool == &events_) ++(isHeld(*exchange) ? held : begun);
  }
  admission_.observe(begun, held);
  eventCapacity_ = admission_.capacity();
}

/// They take effect when libcurl next begins a request.
void TransportLoop::setBounds() {
  // A lone event in their pool must not make four others wait.
  const bool hasGuest = std::ranges::any_of(active_, [this](const auto& each) {
    return each->pool == &interactive_ && each->request.traffic != Traffic::interactive;
  });
  const long connections = interactiveConnections + (hasGuest ? 1 : 0);
  interactive_.setBounds(connections, connections, EventAdmission::overHTTP2);
  events_.setBounds(eventConnections, static_cast<long>(admission_.connectionsPerHost()),
                    static_cast<long>(admission_.streams()));
}

void TransportLoop::collectFinished(ConnectionPool& pool) {
  while (const auto finished = pool.takeFinished()) {
    TransportExchange* exchange = nullptr;
    curl_easy_getinfo(finished->request, CURLINFO_PRIVATE, &exchange);
    exchange->pool = nullptr;
    if (finished->code == CURLE_OK && &pool == &events_) {
      admission_.responded(exchange->transfer->isMultiplexed());
      eventCapacity_ = admission_.capacity();
    }
    finishRequest(*exchange, finished->code);
  }
}

ConnectionPool& TransportLoop::poolFor(const URLRequest& request) {
  if (request.traffic == Traffic::interactive) return interactive_;
  const bool isGuest = request.traffic == Traffic::loneEvent && !events_.hasIdleConnection();
  return isGuest ? interactive_ : events_;
}

void TransportLoop::startRequest(TransportExchange& exchange) {
  exchange.waitsForChange = false;
  exchange.changesAtStart = monitor_ ? changeCount_ : 0;
  exchange.time.stop(now_);
  exchange.latestProgress = now_;
  exchange.latestStage = Stage::held;
  exchange.sent = exchange.received = 0;
  exchange.lostConnection = false;
  ConnectionPool& pool = poolFor(exchange.request);
  // Later than our own time-out, which comes first unless this process did not run meanwhile.
  const auto connectTimeout = milliseconds(100) + timeToConnect(exchange, now_);
  const CURLcode code =
      exchange.transfer->prepare(exchange.request, pool, connectTimeout, exchange.configuration);
  if (code != CURLE_OK) return complete(exchange, exchange.transfer->failureText(code));
  curl_easy_setopt(exchange.transfer->handle(), CURLOPT_PRIVATE, &exchange);
  const CURLMcode added = pool.add(exchange.transfer->handle());
  if (added != CURLM_OK) return complete(exchange, curl_multi_strerror(added));
  exchange.pool = &pool;
}

void TransportLoop::finishRequest(TransportExchange& exchange, CURLcode code) {
  if (auto response = exchange.transfer->takeResponse(code))
    return handleResponse(exchange, std::move(*response));
  // libcurl's limit for connecting is later than ours, so this process did not run meanwhile.
  const bool wasConnecting = code == CURLE_OPERATION_TIMEDOUT && exchange.transfer->stage() != Stage::sending;
  const bool hasTime = exchange.time.left(now_) > RunningClock::Duration::zero();
  if ((wasConnecting || exchange.lostConnection) && hasTime) return startRequest(exchange);
  exchange.latestFailure = exchange.transfer->failureText(code);
  if (lacksConnectivity(exchange, code) && waitForConnectivity(exchange)) return;
  complete(exchange, exchange.latestFailure);
}

void TransportLoop::handleResponse(TransportExchange& exchange, HTTPResponse response) {
  auto next = redirectedRequest(exchange.request, response);
  if (!next) return complete(exchange, std::move(response));
  if (exchange.redirectsFollowed == maxRedirects) {
    return complete(exchange, "Maximum (" + std::to_string(maxRedirects) + ") redirects followed");
  }
  ++exchange.redirectsFollowed;
  exchange.request = std::move(*next);
  startRequest(exchange);
}

bool TransportLoop::lacksConnectivity(const TransportExchange& exchange, CURLcode code) const {
  if (!exchange.configuration.waitsForConnectivity) return false;
  if (code == CURLE_COULDNT_RESOLVE_HOST || code == CURLE_COULDNT_RESOLVE_PROXY) {
    return !ConnectivityMonitor::hasRouteBeyondLoopback();
  }
  return exchange.transfer->wasUnreachable(code);
}

/// An attempt that began before the subscription, or before the latest network change, may have failed
/// because of a state that is over, so it is repeated at once. Only an attempt without a change since it
/// began waits for the next one. Returns false when the system reports no changes.
bool TransportLoop::waitForConnectivity(TransportExchange& exchange) {
  if (monitor_) {
    handleNetworkChanges();
  } else {
    monitor_ = ConnectivityMonitor::subscribe();
    ++changeCount_;  // there may have been changes while there was no monitor
  }
  if (!monitor_) return false;
  exchange.lackedConnectivity = true;
  if (exchange.changesAtStart == changeCount_) {
    exchange.time.run(now_);
    exchange.waitsForChange = true;
  } else {
    startRequest(exchange);
  }
  return true;
}

void TransportLoop::handleNetworkChanges() {
  if (!monitor_) return;
  const auto changes = monitor_->takeChanges();
  if (changes == ConnectivityMonitor::Changes::none) return;
  if (changes == ConnectivityMonitor::Changes::lost) monitor_.reset();
  ++changeCount_;
  for (TransportExchange* exchange : waiting()) {
    if (monitor_) {
      startRequest(*exchange);
    } else {
      complete(*exchange, exchange->latestFailure);
    }
  }
}

/// When the exchange fails unless something happens before.
RunningClock::TimePoint TransportLoop::endOf(const TransportExchange& exchange) const {
  const auto end = now_ + exchange.time.left(now_);
  if (!exchange.pool) return end;
  if (!exchange.time.runs()) {
    return std::max(exchange.latestProgress, exchange.pool->latestProgress) + exchange.time.left(now_);
  }
  return std::min(end, exchange.latestProgress + silenceLimit(exchange.request));
}

void TransportLoop::failExpired() {
  const auto expired = [this](bool held) {
    return activeWhere(
        [&](const TransportExchange& each) { return isHeld(each) == held && endOf(each) <= now_; });
  };
  // The end of a request may begin one that is held, which would get as much time again.
  for (TransportExchange* exchange : expired(true)) timeOut(*exchange);
  for (TransportExchange* exchange : expired(false)) timeOut(*exchange);
}

/// The connection of an exchange that timed out is not used again, and those that share it begin again.
void TransportLoop::distrustConnection(const TransportExchange& exchange) {
  const long port = exchange.transfer->localPort();
  exchange.pool->distrustConnections(port);
  for (const auto& each : active_) {
    if (port != 0 && each->pool == exchange.pool && each->transfer->localPort() == port) {
      each->lostConnection = true;
    }
  }
}

void TransportLoop::timeOut(TransportExchange& exchange) {
  if (!exchange.pool) return complete(exchange, exchange.latestFailure);
  const TransportTransfer& transfer = *exchange.transfer;
  if (!isHeld(exchange)) distrustConnection(exchange);
  const bool isOver = isHeld(exchange) || exchange.time.left(now_) <= RunningClock::Duration::zero();
  if (!isOver && transfer.stage() == Stage::sending) {
    return complete(exchange, silenceText(silenceLimit(exchange.request)));
  }
  complete(exchange, timeoutText(transfer, isOver ? exchange.configuration.exchangeTimeout()
                                                  : silenceLimit(exchange.request)));
}

int TransportLoop::longestSleep() const {
  if (active_.empty() && !interactive_.timer() && !events_.timer()) return -1;
  const auto now = ConnectionPool::Clock::now();
  RunningClock::Duration longest = longestSleepInProgress;
  for (const auto& exchange : active_) longest = std::min(longest, endOf(*exchange) - now_);
  for (const ConnectionPool* pool : {&interactive_, &events_}) {
    if (pool->timer()) longest = std::min(longest, *pool->timer() - now);
  }
  return static_cast<int>(std::max<long long>(0, std::chrono::ceil<milliseconds>(longest).count()));
}

std::string TransportLoop::sleep() {
  polled_.clear();
  polled_.push_back({.fd = wakeUp_.descriptor(), .events = POLLIN, .revents = 0});
  if (monitor_) polled_.push_back({.fd = monitor_->descriptor(), .events = POLLIN, .revents = 0});
  interactive_.appendPolled(polled_);
  events_.appendPolled(polled_);
  if (::poll(polled_.data(), polled_.size(), longestSleep()) < 0) {
    const int reason = errno;
    polled_.clear();
    if (reason != EINTR) return std::generic_category().message(reason);
  }
  wakeUp_.take();
  return {};
}

void TransportLoop::complete(TransportExchange& exchange, URLSessionResult result) {
  const auto found = std::ranges::find_if(active_, [&](const auto& each) { return each.get() == &exchange; });
  const auto owner = std::move(*found);
  active_.erase(found);
  if (owner->pool) owner->pool->remove(owner->transfer->handle());
  keepForReuse(std::move(owner->transfer));
  const bool changesMatter =
      std::ranges::any_of(active_, [](const auto& each) { return each->lackedConnectivity; });
  if (!changesMatter) monitor_.reset();
  owner->completion(std::move(result));
}

void TransportLoop::keepForReuse(std::unique_ptr<TransportTransfer> transfer) {
  transfer->reset();
  if (idleTransfers_.size() < interactiveConnections + eventConnections) {
    idleTransfers_.push_back(std::move(transfer));
  }
}

std::vector<TransportExchange*> TransportLoop::activeWhere(
    const std::function<bool(const TransportExchange&)>& condition) const {
  std::vector<TransportExchange*> found;
  for (const auto& exchange : active_) {
    if (condition(*exchange)) found.push_back(exchange.get());
  }
  return found;
}

std::vector<TransportExchange*> TransportLoop::waiting() const {
  return activeWhere([](const TransportExchange& each) { return each.waitsForChange; });
}

}  // namespace corvane::platform
