#pragma once

#include <stdexcept>

namespace corvane {

/// Bytes that are not the JSON message expected. `what()` names the member at fault ("attributed: expected a
/// boolean").
class DecodingFailure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// A message that has no JSON form: a number that is not finite, or text that is not UTF-8.
class EncodingFailure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace corvane
