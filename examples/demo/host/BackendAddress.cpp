#include "BackendAddress.h"

#include <utility>

#include "foundation/APIBaseURL.h"

namespace corvane {
namespace {

std::string& backendAddress() {
  static std::string address;
  return address;
}

}  // namespace

void demo::setBackendAddress(std::string origin) {
  backendAddress() = std::move(origin);
}

/// In the place of the library's constant: the demo's backend listens on whatever port is free.
std::string defaultAPIBaseURL() {
  return backendAddress();
}

}  // namespace corvane
