#pragma once

#include <functional>
#include <map>
#include <string>
#include <utility>

#include "FaultScript.h"
#include "Feed.h"
#include "HTTPMessage.h"
#include "Store.h"

namespace corvane::sandbox {

/// Everything below /sandbox/: what a developer or a test steers this backend with, and looks at it through.
class Control {
 public:
  Control(Store& store, FaultScript& faults, Feed& feed);

  /// Answers a request whose path begins with "/sandbox/". Throws `Refusal`.
  Response answer(const Request& request, double now);

 private:
  using Action = Response (Control::*)(const Request&, double now);

  Response listLinks(const Request& request, double now);
  Response putLink(const Request& request, double now);
  Response click(const Request& request, double now);
  Response listFaults(const Request& request, double now);
  Response addFaults(const Request& request, double now);
  Response clearFaults(const Request& request, double now);
  Response records(const Request& request, double now);
  Response clearRecords(const Request& request, double now);
  Response stream(const Request& request, double now);

  Store& store_;
  FaultScript& faults_;
  Feed& feed_;
  std::map<std::pair<std::string, std::string>, Action> actions_;  // by path and method
};

/// Records a click on the link and tells the live page of it.
Click makeClick(Store& store, Feed& feed, const std::string& slug, double at);

}  // namespace corvane::sandbox
