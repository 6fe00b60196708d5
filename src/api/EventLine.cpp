#include "api/EventLine.h"

#include <algorithm>
#include <optional>
#include <string_view>
#include <utility>

#include "api/Backoff.h"
#include "async/BackgroundTask.h"

namespace corvane {

namespace asio = boost::asio;
using namespace std::chrono_literals;

namespace {

/// Below the longest step of the clock.
constexpr auto longestSleep = 1s;

/// What is kept of a response's body between two attempts.
constexpr std::size_t keptBody = 256;

URLRequest requestOf(const EventRoute& route, std::string_view key, std::string_view body, Traffic traffic) {
  URLRequest request{.url = route.url, .method = "POST", .headers = route.headers, .body = std::string(body)};
  request.headers.emplace_back("Idempotency-Key", key);
  request.traffic = traffic;
  return request;
}

Attempt unansweredFor(std::chrono::nanoseconds timeout) {
  const auto seconds = std::chrono::duration<double>(timeout).count();
  return {CorvaneError::transport("not sent: no request got a response for " + twoDecimals(seconds) + " s")};
}

EventLine::End endOf(Attempt tried) {
  return std::visit([](auto& outcome) -> EventLine::End { return std::move(outcome); }, tried.outcome);
}

}  // namespace

EventLine::EventLine(std::shared_ptr<Background> background)
    : background_(std::move(background)), clock_([source = background_.get()] { return source->now(); }) {}

EventLine::ID EventLine::add(std::shared_ptr<const EventRoute> route, OutgoingEvent event, Kind kind,
                             Done done) {
  const ID id = kind == Kind::resend ? nextResend_++ : nextNew_++;
  Events added(&memory_);
  added.emplace(id, Event{.route = std::move(route),
                          .key = std::pmr::string(event.key, &memory_),
                          .body = std::pmr::string(event.body, &memory_),
                          .done = std::move(done)});
  join(added.extract(id));
  return id;
}

void EventLine::join(Node node) {
  node.mapped().since = clock_.now();
  waiting_.insert(std::move(node));
  postRun();
}

/// Through a post: the other events of this turn have joined then, and one event alone is known as such.
void EventLine::postRun() {
  if (std::exchange(runIsPosted_, true)) return;
  if (!background_->post([self = shared_from_this()] { self->run(); })) run();
}

void EventLine::run() {
  runIsPosted_ = false;
  if (!closedBecause_.empty()) return endAll();
  const Time now = clock_.now();
  endBackOffs(now);
  if (nextCheck_ <= now) failOverdue(now);
  const bool isAlone = waiting_.size() == 1 && inFlight_.empty();
  while (!waiting_.empty() && inFlight_.size() < waiting_.begin()->second.route->http->eventCapacity()) {
    startNext(isAlone ? Traffic::loneEvent : Traffic::event);
  }
  scheduleWake(now);
  freeMemory();
}

void EventLine::startNext(Traffic traffic) {
  const ID id = waiting_.begin()->first;
  Event& event = inFlight_.insert(waiting_.extract(id)).position->second;
  event.wasSent = true;
  event.abort =
      spawn(background_, [self = shared_from_this(), id, traffic] { return self->attempt(id, traffic); });
}

asio::awaitable<void> EventLine::attempt(ID id, Traffic traffic) {
  const Event& event = inFlight_.at(id);
  asio::awaitable<HTTPResponse> exchange =
      event.route->http->send(requestOf(*event.route, event.key, event.body, traffic));
  Attempt tried = co_await makeAttempt(std::move(exchange));
  finish(id, std::move(tried));
}

void EventLine::finish(ID id, Attempt tried) {
  if (tried.response() != nullptr) noteResponse();
  Node node = inFlight_.extract(id);
  node.mapped().abort = {};
  concludeAttempt(std::move(node), std::move(tried));
  postRun();
}

void EventLine::concludeAttempt(Node node, Attempt tried) {
  Event& event = node.mapped();
  const EventRoute& route = *event.route;
  const std::int64_t number = ++event.attempts;
  if (number >= route.retryPolicy.maxAttempts || !tried.mayBeRetried()) {
    return end(std::move(node), endOf(std::move(tried)));
  }
  const double delay = delayAfter(tried, number, route.retryPolicy);
  logRetry(route.logger, tried, route.url, number, delay);
  if (event.isCancelled) return end(std::move(node), CorvaneCancellationError());
  if (!closedBecause_.empty()) return end(std::move(node), endOf(std::move(tried)));
  const auto wait = waitDuration(delay);
  if (wait > 0ns) return backOff(std::move(node), std::move(tried), wait);
  join(std::move(node));
}

void EventLine::backOff(Node node, Attempt tried, std::chrono::nanoseconds delay) {
  if (auto* response = std::get_if<HTTPResponse>(&tried.outcome)) {
    response->headers.clear();
    if (response->body.size() > keptBody) {
      response->body = response->body.substr(0, keptBody);
      response->bodyIsTruncated = true;
    }
  }
  Event& event = node.mapped();
  event.latest = std::make_unique<Attempt>(std::move(tried));
  event.since = clock_.now() + delay;
  due_.emplace(event.since, node.key());
  backingOff_.insert(std::move(node));
}

void EventLine::endBackOffs(Time now) {
  for (int ended = 0; ended < portion && !due_.empty() && due_.begin()->first <= now; ++ended) {
    Node node = backingOff_.extract(due_.begin()->second);
    due_.erase(due_.begin());
    node.mapped().latest.reset();
    node.mapped().since = now;
    waiting_.insert(std::move(node));
  }
}

/// Fails a portion of the events that have waited too long, and notes when to look again.
void EventLine::failOverdue(Time now) {
  std::vector<ID> overdue;
  Time next = now + longestSleep;
  for (const auto& [id, event] : waiting_) {
    const Time due = std::max(event.since, lastResponse_) + event.route->requestTimeout;
    if (due > now) {
      next = std::min(next, due);
    } else if (overdue.push_back(id); overdue.size() == portion) {
      next = now;
      break;
    }
  }
  // Not for each single event of a steady stream.
  nextCheck_ = next == now ? now : std::max(next, now + 50ms);
  for (const ID id : overdue) {
    Node node = waiting_.extract(id);
    const auto timeout = node.mapped().route->requestTimeout;
    concludeAttempt(std::move(node), unansweredFor(timeout));
  }
  if (next == now) postRun();
}

void EventLine::cancel(ID id) {
  if (const auto found = inFlight_.find(id); found != inFlight_.end()) {
    found->second.isCancelled = true;
    const auto abort = found->second.abort;
    abort();
  } else if (Node waiting = waiting_.extract(id)) {
    waiting.mapped().isCancelled = true;
    concludeAttempt(std::move(waiting), {CorvaneError::transport("cancelled")});
  } else if (Node backingOff = backingOff_.extract(id)) {
    due_.erase({backingOff.mapped().since, id});
    end(std::move(backingOff), CorvaneCancellationError());
  }
}

void EventLine::dropUnsent(const void* queue) {
  std::vector<Node> unsent;
  for (Events* events : {&waiting_, &backingOff_}) {
    for (auto place = events->lower_bound(firstNewID); place != events->end();) {
      const auto current = place++;
      const Event& event = current->second;
      if (event.route->queue == queue && !event.wasSent) unsent.push_back(events->extract(current));
    }
  }
  for (Node& node : unsent) {
    due_.erase({node.mapped().since, node.key()});
    end(std::move(node), Dropped());
  }
}

std::vector<OutgoingEvent> EventLine::newest(const void* queue, std::size_t count) const {
  std::vector<std::pair<ID, const Event*>> found;
  for (const Events* events : {&waiting_, &inFlight_, &backingOff_}) {
    const std::size_t before = found.size();
    for (auto place = events->rbegin(); place != events->rend() && found.size() - before < count; ++place) {
      if (place->first >= firstNewID && place->second.route->queue == queue)
        found.emplace_back(place->first, &place->second);
    }
  }
  std::ranges::sort(found);
  if (found.size() > count) found.erase(found.begin(), found.end() - static_cast<std::ptrdiff_t>(count));
  std::vector<OutgoingEvent> events;
  for (const auto& [id, event] : found) {
    events.push_back({.key = std::string(event->key), .body = std::string(event->body)});
  }
  return events;
}

void EventLine::close(std::string reason) {
  closedBecause_ = std::move(reason);
  postRun();
}

/// In the order of the events, so that the newest are stored last.
void EventLine::endAll() {
  waiting_.merge(backingOff_);
  due_.clear();
  for (int ended = 0; ended < portion && !waiting_.empty(); ++ended) {
    Node node = waiting_.extract(waiting_.begin());
    const auto latest = std::move(node.mapped().latest);
    end(std::move(node), latest ? endOf(std::move(*latest)) : CorvaneError::transport(closedBecause_));
  }
  if (waiting_.empty()) return endWait();
  postRun();
}

void EventLine::end(Node node, End end) {
  Done done;
  OutgoingEvent content;
  {
    // Its memory is free before `done` runs.
    const Node ended = std::move(node);
    Event& event = ended.mapped();
    done = std::move(event.done);
    content = {.key = std::string(event.key), .body = std::string(event.body)};
  }
  done(std::move(content), std::move(end));
}

/// A pool keeps what it has, and after a burst that is much.
void EventLine::freeMemory() {
  const std::size_t count = waiting_.size() + inFlight_.size() + backingOff_.size();
  mostEvents_ = std::max(mostEvents_, count);
  if (count > 0 || mostEvents_ < burst) return;
  mostEvents_ = 0;
  memory_.release();
}

/// The clock is read once in `longestSleep` while it matters, so that it notices when the process stood
/// still.
void EventLine::scheduleWake(Time now) {
  Time due = Time::max();
  if (!due_.empty()) due = due_.begin()->first;
  if (!waiting_.empty()) due = std::min(due, std::max(nextCheck_, now));
  if (due == Time::max()) return endWait();
  wakeBy(std::min(due, now + longestSleep));
}

/// Nothing may wake the process up while there is nothing to wait for.
void EventLine::endWait() {
  if (!isWaiting_) return;
  isWaiting_ = false;
  ++wait_;
  cancelWait_();
}

void EventLine::wakeBy(Time due) {
  if (isWaiting_ && waitEnd_ <= due) return;
  endWait();
  isWaiting_ = true;
  waitEnd_ = due;
  const auto wait = [background = background_, weak = weak_from_this(), number = ++wait_,
                     duration = due - clock_.now()]() -> asio::awaitable<void> {
    const WaitEnd end = co_await background->wait(duration);
    const auto self = weak.lock();
    if (!self || self->wait_ != number || end != WaitEnd::elapsed) co_return;
    self->isWaiting_ = false;
    self->run();
  };
  cancelWait_ = spawn(background_, wait);
}

}  // namespace corvane
