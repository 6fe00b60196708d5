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

// All of these refuse with 400 and a reason that names the member at fault, unless another status is stated.

/// The body as JSON of any kind, within a limit of nesting. 415 without "Content-Type: application/json".
nlohmann::json readJSON(const Request& request);
/// The body as a JSON object.
nlohmann::json readObject(const Request& request);

/// A type of JSON values.
struct MemberType {
  const char* description;
  bool (nlohmann::json::*matches)() const noexcept;  ///< null: any value does
};
extern const MemberType aString, aNumber, aBoolean, anObject, anyValue;

/// A member that an object may have. An optional member that is present must not be null.
struct Member {
  const char* name;
  const MemberType& type = aString;
  bool isRequired = false;
};
/// A member that an object must have.
inline Member required(const char* name, const MemberType& type = aString) {
  return {name, type, true};
}

enum class OtherMembers { ignored, refused };

/// The object `value` with those members only. Refuses it when a member has another type, or a required one
/// is missing.
nlohmann::json readMembers(const nlohmann::json& value, std::initializer_list<Member> members,
                           OtherMembers others);

/// The percent-decoded value of a query's first item of that name.
std::optional<std::string> queryItem(const std::string& query, const std::string& name);

/// The first segment of a URL's path, percent-decoded, empty when it has none.
std::string firstPathSegment(const std::string& url);

Response jsonAnswer(const nlohmann::json& value, unsigned status = 200);
Response errorAnswer(unsigned status, const std::string& reason, HeaderList headers = {});

}  // namespace corvane::sandbox
