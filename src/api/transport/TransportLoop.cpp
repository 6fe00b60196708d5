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
  takeNotices();
  expireWaiting();
  admitQueued();
}

void TransportLoop::abandon(const std::string& reason) {
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
    const CURLcode code = message->data.result;  // the message dies with the removal
    TransportExchange* exchange = nullptr;
    curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &exchange);
    curl_multi_remove_handle(multi_.get(), message->easy_handle);
    exchange->isRunning = false;
    finishHop(*exchange, code);
  }
}

void TransportLoop::admitQueued() {
  while (active_.size() < maxExchanges && !queue_.empty()) {
    auto exchange = std::move(queue_.front());
    queue_.pop_front();
    if (auto malformed = malformation(exchange->request)) {
      exchange->completion(std::move(*malformed));
      continue;
    }
    exchange->deadline = Clock::now() + exchange->configuration.exchangeTimeout();
    if (spare_.empty()) spare_.push_back(std::make_unique<TransportTransfer>());
    exchange->transfer = std::move(spare_.back());
    spare_.pop_back();
    active_.push_back(std::move(exchange));
    startHop(*active_.back());
  }
}

void TransportLoop::startHop(TransportExchange& exchange) {
  exchange.waitsForNotice = false;
  exchange.noticesAtStart = monitor_ ? noticeCount_ : 0;
  const auto left = std::chrono::ceil<milliseconds>(exchange.deadline - Clock::now());
  CURLcode code = exchange.transfer->prepare(exchange.request, std::max(left, milliseconds(1)),
                                             exchange.configuration.certificateAuthorityFile);
  if (code != CURLE_OK) return complete(exchange, exchange.transfer->failureText(code));
  curl_easy_setopt(exchange.transfer->handle(), CURLOPT_PRIVATE, &exchange);
  const CURLMcode added = curl_multi_add_handle(multi_.get(), exchange.transfer->handle());
  if (added != CURLM_OK) return complete(exchange, curl_multi_strerror(added));
  exchange.isRunning = true;
}

void TransportLoop::finishHop(TransportExchange& exchange, CURLcode code) {
  if (code == CURLE_OK) return answer(exchange, exchange.transfer->takeResponse());
  exchange.latestFailure = exchange.transfer->failureText(code);
  if (metNoNetwork(exchange, code) && awaitConnectivity(exchange)) return;
  complete(exchange, exchange.latestFailure);
}

void TransportLoop::answer(TransportExchange& exchange, HTTPResponse response) {
  auto next = redirected(exchange.request, response);
  if (!next) return complete(exchange, std::move(response));
  if (exchange.redirectsFollowed == maxRedirects) {
    return complete(exchange, "Maximum (" + std::to_string(maxRedirects) + ") redirects followed");
  }
  ++exchange.redirectsFollowed;
  exchange.request = std::move(*next);
  startHop(exchange);
}

bool TransportLoop::metNoNetwork(const TransportExchange& exchange, CURLcode code) const {
  if (!exchange.configuration.waitsForConnectivity) return false;
  if (code == CURLE_COULDNT_RESOLVE_HOST || code == CURLE_COULDNT_RESOLVE_PROXY) {
    return !ConnectivityMonitor::hasRouteBeyondLoopback();
  }
  return exchange.transfer->foundNoWay(code);
}

/// Subscribing comes before the attempt that decides: an attempt that began before the subscription, or
/// before the latest notice, may have failed for what has changed since, so it is repeated at once. Only one
/// that failed with nothing new since it began waits for the next notice. False where there are no notices.
bool TransportLoop::awaitConnectivity(TransportExchange& exchange) {
  if (monitor_) {
    takeNotices();
  } else {
    monitor_ = ConnectivityMonitor::subscribe();
    ++noticeCount_;  // whatever came while nobody was counting
  }
  if (!monitor_) return false;
  exchange.metNoNetwork = true;
  if (exchange.noticesAtStart == noticeCount_) {
    exchange.waitsForNotice = true;
  } else {
    startHop(exchange);
  }
  return true;
}

void TransportLoop::takeNotices() {
  if (!monitor_) return;
  const auto notices = monitor_->take();
  if (notices == ConnectivityMonitor::Notices::none) return;
  if (notices == ConnectivityMonitor::Notices::lost) monitor_.reset();
  ++noticeCount_;
  for (TransportExchange* exchange : waiting()) {
    if (monitor_) {
      startHop(*exchange);
    } else {
      complete(*exchange, exchange->latestFailure);
    }
  }
}

void TransportLoop::expireWaiting() {
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
  curl_waitfd notices{};
  notices.fd = monitor_ ? monitor_->descriptor() : CURL_SOCKET_BAD;
  notices.events = CURL_WAIT_POLLIN;
  const CURLMcode code = curl_multi_poll(multi_.get(), &notices, monitor_ ? 1 : 0, longest, nullptr);
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
  spare_.push_back(std::move(owner->transfer));
  const bool noticesMatter =
      std::ranges::any_of(active_, [](const auto& each) { return each->metNoNetwork; });
  if (!noticesMatter) monitor_.reset();
  owner->completion(std::move(result));
}

std::vector<TransportExchange*> TransportLoop::waiting() const {
  std::vector<TransportExchange*> found;
  for (const auto& exchange : active_) {
    if (exchange->waitsForNotice) found.push_back(exchange.get());
  }
  return found;
}

}  // namespace corvane::platform
