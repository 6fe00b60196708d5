#include "support/BaseURL.h"

#include <utility>

#include "foundation/APIBaseURL.h"

namespace {

/// Never destroyed: clients may be built while static objects die.
std::string& current() {
  static auto* const url = new std::string();
  return *url;
}

}  // namespace

namespace corvane {

std::string defaultAPIBaseURL() {
  return current();
}

}  // namespace corvane

namespace corvane::test {

void setBaseURL(std::string url) {
  current() = std::move(url);
}

}  // namespace corvane::test
