#pragma once

#include <string>
#include <vector>

#include "Control.h"
#include "Endpoints.h"
#include "FaultScript.h"
#include "Feed.h"
#include "HTTPMessage.h"
#include "Store.h"

namespace corvane::sandbox {

/// The backend behind the HTTP server: passes each request to a fault, a page or an endpoint. Used by one
/// thread at a time.
class Sandbox {
 public:
  struct Options {
    std::string dataFile = ":memory:";
    std::vector<std::string> keys = {};          // see Endpoints
    std::vector<std::string> allowedHosts = {};  // see HostCheck.h
  };

  Sandbox(const Options& options, Feed::Publish publish);

  /// Answers every request; an internal failure gives status 500.
  Response handle(const Request& request);

 private:
  Response route(const Request& request);
  Response landing(const Request& request, const nlohmann::json& link, double now);
  Response backend(const Request& request, const std::optional<Fault>& fault, double now);

  std::vector<std::string> allowedHosts_;
  Store store_;
  FaultScript faults_;
  Feed feed_;
  Endpoints endpoints_;
  Control control_;
};

}  // namespace corvane::sandbox
