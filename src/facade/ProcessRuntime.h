#pragma once

#include <functional>
#include <memory>

#include "api/ExchangeLines.h"
#include "async/Background.h"

namespace corvane {

/// The background executor of the process, made on first use together with the transport and the exit hook.
///
/// At `exit`, or the return from `main`, the hook ends every exchange and every wait as a failure, lets what
/// follows from that run, and ends both threads, within a bound. In a forked child it does nothing: the
/// threads are not there.
const std::shared_ptr<Background>& processBackground();

/// The lines of the process's exchanges. The exit hook fails what waits in them.
const std::shared_ptr<ExchangeLines>& processLines();

/// Has the exit hook call `last` when both threads have ended. It must not throw. From any thread; nothing is
/// ever taken back.
void runAtExit(std::function<void()> last);

}  // namespace corvane
