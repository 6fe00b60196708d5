#include "client/TestBackend.h"

#include <utility>

#include "foundation/APIBaseURL.h"

namespace {
std::string current = "http://127.0.0.1:1";
}

namespace corvane {

std::string defaultAPIBaseURL() {
  return current;
}

void test::useBackend(std::string baseURL) {
  current = std::move(baseURL);
}

}  // namespace corvane
