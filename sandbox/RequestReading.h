#pragma once

#include <initializer_list>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <stdexcept>
#include <string>

#include "HTTPMessage.h"

namespace corvane::sandbox {

/// A request that is refused, with the status and the reason of the answer.
class Refusal : public std::runtime_error {
 public:
  Refusal(unsigned status, const std::string& reason, HeaderList headers = {})
      : std::runtime_error(reason), status_(status), headers_(std::move(headers)) {}

  unsigned status() const { return status_; }
  const HeaderList& headers() const { return headers_; }

 private:
  unsigned status_;
  HeaderList headers_;
};

// All of these refuse with 400 and a reason that names the member at fault, unless another status is said.

/// The body as JSON of any kind, nested no deeper than a link ever is; 415 without "Content-Type:
/// application/json".
nlohmann::json readJSON(const Request& request);
/// The same, and it must be an object.
nlohmann::json readObject(const Request& request);

// A member that may be left out must not be null when it is there.
std::string requiredText(const nlohmann::json& object, const char* name);
std::optional<std::string> optionalText(const nlohmann::json& object, const char* name);
bool requiredBoolean(const nlohmann::json& object, const char* name);
std::optional<double> optionalNumber(const nlohmann::json& object, const char* name);

/// Refuses every member whose name is not among these.
void allowOnly(const nlohmann::json& object, std::initializer_list<const char*> names);

/// The percent-decoded value of a query's first item of that name.
std::optional<std::string> queryItem(const std::string& query, const std::string& name);

/// The first segment of a URL's path, percent-decoded, empty when it has none.
std::string firstPathSegment(const std::string& url);

Response jsonAnswer(const nlohmann::json& value, unsigned status = 200);
Response errorAnswer(unsigned status, const std::string& reason, HeaderList headers = {});

}  // namespace corvane::sandbox
