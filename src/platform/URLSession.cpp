#include "platform/URLSession.h"

#include <utility>

namespace corvane::platform {

URLSession::URLSession(URLSessionConfiguration configuration, Transport& transport)
    : configuration_(std::move(configuration)), transport_(transport) {}

std::shared_ptr<URLSessionDataTask> URLSession::data(URLRequest request,
                                                     std::function<void(URLSessionResult)> completion) const {
  const Transport::ExchangeID exchange =
      transport_.begin(std::move(request), configuration_, std::move(completion));
  return std::make_shared<URLSessionDataTask>(transport_, exchange);
}

}  // namespace corvane::platform
