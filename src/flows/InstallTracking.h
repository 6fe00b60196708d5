#pragma once

#include <boost/asio/awaitable.hpp>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "flows/ClickToken.h"
#include "flows/ClientParts.h"
#include "flows/EventQueue.h"
#include "foundation/FlagStore.h"

namespace corvane {

/// Reports the first launch, once per installation, and acts on the attribution result.
///
/// The four public forms are called from any thread and return at once; everything else runs on the
/// background executor. Background work holds this object, and with it the client, weakly until it runs and
/// strongly while it does. At most one run is in flight. It is a separate task that callers share; no caller
/// can cancel it.
class InstallTracking : public std::enable_shared_from_this<InstallTracking> {
 public:
  struct Collaborators : ClientParts {
    std::shared_ptr<FlagStore> flagStore;
    ClickToken clickToken;
    std::shared_ptr<EventQueue> eventQueue;
  };

  explicit InstallTracking(Collaborators collaborators) : parts_(std::move(collaborators)) {}

  void trackInstall(bool force);
  void trackInstall(std::string text, bool force);
  CorvaneTask<CorvaneAttribution> trackInstallAsync(bool force);
  CorvaneTask<CorvaneAttribution> trackInstallAsync(std::string text, bool force);

 private:
  using Token = std::optional<std::string>;
  using TokenSource = std::function<Token(const ClickToken&)>;
  using Self = std::shared_ptr<InstallTracking>;
  using Weak = std::weak_ptr<InstallTracking>;

  void startDetached(TokenSource source, bool force);
  CorvaneTask<CorvaneAttribution> startAwaited(TokenSource source, bool force);
  /// Runs `trackInstallCore` and reports its failure.
  static boost::asio::awaitable<void> runDetached(Weak weak, TokenSource source, bool force);

  boost::asio::awaitable<CorvaneAttribution> trackInstallCore(Token token, bool force);
  std::optional<CorvaneAttribution> skipResult() const;
  std::shared_ptr<ClientCore::InstallTask> startOrJoin(Token token);
  boost::asio::awaitable<CorvaneAttribution> runInstall(Token token);

  boost::asio::awaitable<void> deliver(CorvaneAttribution attribution, bool routeDeepLink) const;
  InstallRequest makeRequest(const Token& token, bool consent) const;
  void persistAttribution(const CorvaneAttribution& attribution);
  bool recordOutcome(const CorvaneAttribution& attribution, const Token& token, bool consent, bool routed);
  void count(const CorvaneAttribution& attribution, const Token& token);

  const Collaborators parts_;
};

}  // namespace corvane
