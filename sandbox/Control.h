#pragma once

#include <string>

#include "FaultScript.h"
#include "Feed.h"
#include "HTTPMessage.h"
#include "Store.h"

namespace corvane::sandbox {

/// The endpoints below /sandbox/. Developers and tests use them to configure this backend and to read its
/// records.
class Control {
 public:
  Control(Store& store, FaultScript& faults, Feed& feed) : store_(store), faults_(faults), feed_(feed) {}

  /// Answers a request whose path begins with "/sandbox/". Throws `Refusal`.
  Response answer(const Request& request, double now);

 private:
  struct Route;

  Response putLink(const Request& request, double now);
  Response click(const Request& request, double now);
  Response addFaults(const Request& request);
  Response clearFaults();
  Response records(const Request& request);
  Response clearRecords();
  Response stream(const Request& request);

  Store& store_;
  FaultScript& faults_;
  Feed& feed_;
};

/// Records a click on the link and announces it to the live page.
Click makeClick(Store& store, Feed& feed, const std::string& slug, double at);

}  // namespace corvane::sandbox
