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

/// Replaces the library's constant, as the demo's backend listens on any free port.
std::string defaultAPIBaseURL() {
  return backendAddress();
}

}  // namespace corvane
