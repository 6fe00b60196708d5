#include "Delivery.h"

#include <algorithm>
#include <boost/beast/http/status.hpp>
#include <string_view>

#include "LowerCased.h"

namespace corvane::sandbox {
namespace {

using namespace std::chrono_literals;

constexpr auto silenceTime = 10min;

bool isBodiless(const Response& answer, const Request& request) {
  return answer.status == 204 || answer.status == 304 || request.method == "HEAD";
}

/// A scripted header that ends the connection: "Connection: close", or a framing that may not fit the body.
bool endsConnection(const std::pair<std::string, std::string>& header) {
  const std::string name = lowerCased(header.first);
  return name == "content-length" || name == "transfer-encoding" ||
         (name == "connection" && lowerCased(header.second) == "close");
}

bool writeSlowly(Connection& connection, std::string_view text, std::chrono::milliseconds byteDelay) {
  for (std::size_t index = 0; index < text.size(); ++index) {
    if (!connection.write(text.substr(index, 1)) || !connection.pause(byteDelay)) return false;
  }
  return true;
}

}  // namespace

std::string responseHead(const Response& answer, bool keepAlive) {
  HeaderList headers;
  if (!keepAlive) headers.emplace_back("Connection", "close");
  if (!answer.eventStream) headers.emplace_back("Content-Length", std::to_string(answer.body.size()));
  for (const auto& header : answer.headers) {
    std::erase_if(headers,
                  [&](const auto& earlier) { return lowerCased(earlier.first) == lowerCased(header.first); });
    headers.push_back(header);
  }
  const std::string_view reason =
      boost::beast::http::obsolete_reason(boost::beast::http::int_to_status(answer.status));
  std::string text = "HTTP/1.1 " + std::to_string(answer.status) + " ";
  text.append(reason).append("\r\n");
  for (const auto& [name, value] : headers) text.append(name).append(": ").append(value).append("\r\n");
  return text + "\r\n";
}

bool deliver(Connection& connection, const Response& answer, const IncomingRequest& incoming) {
  const Delivery& delivery = answer.delivery;
  if (delivery.ending == Delivery::Ending::silence) connection.discard(silenceTime);
  const bool isAwaited = connection.pause(delivery.delay);
  if (!isAwaited || delivery.ending != Delivery::Ending::answer) {
    connection.reset();
    return false;
  }
  const bool keepAlive = incoming.keepAlive && std::ranges::none_of(answer.headers, endsConnection);
  Response sent = answer;
  if (isBodiless(answer, incoming.request)) sent.body.clear();
  const std::string text = responseHead(sent, keepAlive) + sent.body;
  const bool isSent =
      delivery.byteDelay > 0ms ? writeSlowly(connection, text, delivery.byteDelay) : connection.write(text);
  return isSent && keepAlive;
}

}  // namespace corvane::sandbox
