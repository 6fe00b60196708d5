#include "support/BaseURL.h"

#include <utility>

#include "foundation/APIBaseURL.h"

namespace {

/// Never destroyed: clients may be created while static objects are destroyed.
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
