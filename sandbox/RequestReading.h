#pragma once

#include <initializer_list>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <stdexcept>
#include <string>

#include "HTTPMessage.h"

namespace corvane::sandbox {

/// Refuses a request: the status and the reason of the response.
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

// These throw a `Refusal` with status 400, unless another is stated, and a reason that names the invalid
// member.

/// The body as JSON of limited depth. Status 415 without "Content-Type: application/json".
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

/// Checks the object `value` against the members and returns those that are present.
nlohmann::json readMembers(const nlohmann::json& value, std::initializer_list<Member> members,
                           OtherMembers others);

/// The percent-decoded value of the first query item with that name.
std::optional<std::string> queryItem(const std::string& query, const std::string& name);

/// The first segment of the URL's path, percent-decoded, or empty.
std::string firstPathSegment(const std::string& url);

Response jsonResponse(const nlohmann::json& value, unsigned status = 200);
Response errorResponse(unsigned status, const std::string& reason, HeaderList headers = {});

}  // namespace corvane::sandbox
