#include "api/InteractiveExchanges.h"

#include <utility>

#include "async/Suspend.h"

namespace corvane {

namespace asio = boost::asio;

/// Gives the place back, also when the exchange throws.
class InteractiveExchanges::Place {
 public:
  explicit Place(InteractiveExchanges& exchanges) : exchanges_(exchanges) {}
  ~Place() { exchanges_.leave(); }
  Place(const Place&) = delete;
  Place& operator=(const Place&) = delete;

 private:
  InteractiveExchanges& exchanges_;
};

asio::awaitable<HTTPResponse> InteractiveExchanges::send(HTTPClient& http, URLRequest request) {
  co_await awaitPlace();
  const Place place(*this);
  HTTPResponse response = co_await http.send(std::move(request));
  responded_();
  co_return response;
}

asio::awaitable<void> InteractiveExchanges::awaitPlace() {
  if (inProgress_ < maxExchanges) {
    ++inProgress_;
    co_return;
  }
  // `leave` passes its place on to the first of these.
  std::function<void(std::function<void()>)> wait = [this](auto resume) { waiting_.push_back(resume); };
  co_await suspendUntil(std::move(wait));
}

void InteractiveExchanges::leave() {
  if (waiting_.empty()) {
    --inProgress_;
    return;
  }
  const auto resume = std::move(waiting_.front());
  waiting_.pop_front();
  resume();
}

}  // namespace corvane
