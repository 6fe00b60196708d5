#pragma once

#include <memory>
#include <utility>

#include "api/EventLine.h"
#include "api/InteractiveExchanges.h"

namespace corvane {

/// How the exchanges of the process share the transport: what somebody waits for never waits behind events.
struct ExchangeLines {
  explicit ExchangeLines(std::shared_ptr<Background> background)
      : events(std::make_shared<EventLine>(std::move(background))) {}

  const std::shared_ptr<EventLine> events;
  InteractiveExchanges interactive{[line = events] { line->noteResponse(); }};
};

}  // namespace corvane
