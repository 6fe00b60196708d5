#include "api/transport/TransportLoop.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "api/transport/TransportRedirect.h"

namespace corvane::platform {

using std::chrono::milliseconds;

TransportLoop::TransportLoop() : multi_(curl_multi_init()) {
  if (multi_) curl_multi_setopt(multi_.get(), CURLMOPT_MAXCONNECTS, static_cast<long>(maxExchanges));
}

void TransportLoop::enqueue(std::unique_ptr<TransportExchange> exchange) {
  queue_.push_back(std::move(exchange));
}

void TransportLoop::cancel(std::uint64_t id) {
  const auto hasID = [id](const auto& exchange) { return exchange->id == id; };
  if (const auto found = std::ranges::find_if(active_, hasID); found != active_.end()) {
    complete(**found, "cancelled");
  } else if (const auto queued = std::ranges::find_if(queue_, hasID); queued != queue_.end()) {
    const auto exchange = std::move(*queued);
    queue_.erase(queued);
    exchange->completion("cancelled");
  }
}

void TransportLoop::work() {
  int running = 0;
  if (const CURLMcode code = curl_multi_perform(multi_.get(), &running); code != CURLM_OK) {
    failActive(curl_multi_strerror(code));
  }
  collectFinished();
  handleNetworkChanges();
  failExpired();
  startQueued();
}

void TransportLoop::failAll(const std::string& reason) {
  failActive(reason);
  while (!queue_.empty()) {
    const auto exchange = std::move(queue_.front());
    queue_.pop_front();
    exchange->completion(reason);
  }
}

void TransportLoop::collectFinished() {
  int left = 0;
  while (const CURLMsg* message = curl_multi_info_read(multi_.get(), &left)) {
    if (message->msg != CURLMSG_DONE) continue;
    const CURLcode code = message->data.result;  // the removal frees the message
    TransportExchange* exchange = nullptr;
    curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &exchange);
    curl_multi_remove_handle(multi_.get(), message->easy_handle);
    exchange->isRunning = false;
    finishRequest(*exchange, code);
  }
}

void TransportLoop::startQueued() {
  while (active_.size() < maxExchanges && !queue_.empty()) {
    auto exchange = std::move(queue_.front());
    queue_.pop_front();
    if (auto malformed = validationError(exchange->request)) {
      exchange->completion(std::move(*malformed));
      continue;
    }
    exchange->deadline = Clock::now() + exchange->configuration.exchangeTimeout();
    if (idleTransfers_.empty()) idleTransfers_.push_back(std::make_unique<TransportTransfer>());
    exchange->transfer = std::move(idleTransfers_.back());
    idleTransfers_.pop_back();
    active_.push_back(std::move(exchange));
    startRequest(*active_.back());
  }
}

void TransportLoop::startRequest(TransportExchange& exchange) {
  exchange.waitsForChange = false;
  exchange.changesAtStart = monitor_ ? changeCount_ : 0;
  const auto left = std::chrono::ceil<milliseconds>(exchange.deadline - Clock::now());
  CURLcode code = exchange.transfer->prepare(exchange.request, std::max(left, milliseconds(1)),
                                             exchange.configuration.certificateAuthorityFile);
  if (code != CURLE_OK) return complete(exchange, exchange.transfer->failureText(code));
  curl_easy_setopt(exchange.transfer->handle(), CURLOPT_PRIVATE, &exchange);
  const CURLMcode added = curl_multi_add_handle(multi_.get(), exchange.transfer->handle());
  if (added != CURLM_OK) return complete(exchange, curl_multi_strerror(added));
  exchange.isRunning = true;
}

void TransportLoop::finishRequest(TransportExchange& exchange, CURLcode code) {
  if (auto response = exchange.transfer->takeResponse(code))
    return handleResponse(exchange, std::move(*response));
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

void TransportLoop::failExpired() {
  const auto now = Clock::now();
  for (TransportExchange* exchange : waiting()) {
    if (exchange->deadline <= now) complete(*exchange, exchange->latestFailure);
  }
}

std::string TransportLoop::sleep() {
  int longest = std::numeric_limits<int>::max();
  for (const TransportExchange* exchange : waiting()) {
    const auto left = std::chrono::ceil<milliseconds>(exchange->deadline - Clock::now()).count();
    longest = static_cast<int>(std::clamp<long long>(left, 0, longest));
  }
  curl_waitfd monitored{};
  monitored.fd = monitor_ ? monitor_->descriptor() : CURL_SOCKET_BAD;
  monitored.events = CURL_WAIT_POLLIN;
  const CURLMcode code = curl_multi_poll(multi_.get(), &monitored, monitor_ ? 1 : 0, longest, nullptr);
  return code == CURLM_OK ? std::string() : curl_multi_strerror(code);
}

void TransportLoop::failActive(const std::string& reason) {
  while (!active_.empty()) complete(*active_.back(), reason);
}

void TransportLoop::complete(TransportExchange& exchange, URLSessionResult result) {
  const auto found = std::ranges::find_if(active_, [&](const auto& each) { return each.get() == &exchange; });
  const auto owner = std::move(*found);
  active_.erase(found);
  if (owner->isRunning) curl_multi_remove_handle(multi_.get(), owner->transfer->handle());
  owner->transfer->reset();
  idleTransfers_.push_back(std::move(owner->transfer));
  const bool changesMatter =
      std::ranges::any_of(active_, [](const auto& each) { return each->lackedConnectivity; });
  if (!changesMatter) monitor_.reset();
  owner->completion(std::move(result));
}

std::vector<TransportExchange*> TransportLoop::waiting() const {
  std::vector<TransportExchange*> found;
  for (const auto& exchange : active_) {
    if (exchange->waitsForChange) found.push_back(exchange.get());
  }
  return found;
}

}  // namespace corvane::platform
