#pragma once

#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>
#include <type_traits>
#include <utility>

#include "corvane/CorvaneAttribution.h"
#include "corvane/CorvaneCoarseConversionValue.h"
#include "corvane/CorvaneDeepLink.h"
#include "corvane/CorvaneError.h"
#include "corvane/CorvaneExport.h"
#include "corvane/CorvaneLinkSource.h"
#include "corvane/CorvaneOptions.h"
#include "corvane/CorvanePlatform.h"
#include "corvane/CorvaneTask.h"

/// The client: the entry point of the library.
///
/// Threads: every operation may be called from any thread. No operation waits for the network or for the main
/// thread. Operations that access the preferences file say so; such a call takes about a millisecond on a
/// healthy disk, and its wait for a busy file is bounded.
///
/// Long-running operations have two forms. The plain form returns at once; it reports its result through the
/// callbacks, and its failure as an error line in the log and through `onError`. The form whose name ends in
/// `Async` returns a `CorvaneTask`; its failure is thrown to the caller that waits for the task. Failures
/// that the library recovers from (an event that it sends again later, a link that it builds without the
/// backend) go to `onError` in both forms.
///
/// Callbacks run on the main thread (`CorvanePlatform::mainExecutor`), never inside the call that registers
/// them. A callback may call any operation. An exception that a callback throws leaves through the executor
/// that ran it; the state of the library is already updated then, and the operation completes. A callback
/// that captures the client's `shared_ptr` keeps the client alive until it is removed: capture a `weak_ptr`
/// instead. A callback that is replaced or removed may still be called with results that were queued for it
/// before.
///
/// Ownership: a client lives while `shared()` or the host holds it. Background work that has not started
/// holds it weakly; work that runs keeps the parts that it needs.
///
/// Fork: do not use the library in a forked child of a process that used it. The child does not have the
/// library's threads.
class CORVANE_API Corvane {
 public:
  using AttributionCallback = std::function<void(const CorvaneAttribution&)>;
  using LinkCallback = std::function<void(const CorvaneDeepLink&, CorvaneLinkSource)>;
  using ErrorCallback = std::function<void(const std::exception&)>;

  /// Internal: the parts of a client.
  struct Client;

  /// Builds a client and makes it `shared()`. Resends the events that are stored from earlier runs and, with
  /// `autoTrackInstall`, tracks the install in the background.
  ///
  /// White space and line breaks around `apiKey` are removed. Throws `CorvaneError::missingAPIKey` when
  /// nothing is left, and changes nothing in that case; there is no other error. A later call builds a new
  /// client, which shares the stored data with the previous client but none of its callbacks. Opens and reads
  /// the preferences file.
  static std::shared_ptr<Corvane> configure(std::string_view apiKey, CorvaneOptions options = {});
  /// As above, for a C string. nullptr, as `getenv` returns it for an unset variable, counts as an empty key.
  static std::shared_ptr<Corvane> configure(const char* apiKey, CorvaneOptions options = {}) {
    return configure(apiKey == nullptr ? std::string_view() : std::string_view(apiKey), std::move(options));
  }

  /// Returns the current client; nullptr before the first `configure`.
  static std::shared_ptr<Corvane> shared();
  /// Replaces the current client; nullptr removes it.
  static void setShared(std::shared_ptr<Corvane> client);

  /// Sets the platform services that clients use which are built afterwards. Call it before `configure`.
  static void setPlatform(CorvanePlatform platform);

  /// Removes everything that the library has stored, so that the next client behaves like a fresh
  /// installation. Writes one line to standard output, whether or not logging is on. Existing clients keep
  /// what they hold in memory. Writes the preferences file.
  static void resetForTesting();

  ~Corvane();
  Corvane(const Corvane&) = delete;
  Corvane& operator=(const Corvane&) = delete;

  /// Returns a copy of the options that the client was built with.
  CorvaneOptions options() const;

  /// Registers the callback for the attribution result of the install. Replaces the previous callback; an
  /// empty function removes it.
  ///
  /// A result that is already known, also from an earlier launch, is delivered to the new callback soon after
  /// this call. A result that equals the last delivered one is not delivered again.
  void onAttribution(AttributionCallback callback);

  /// Registers the callback for deep links. Replaces the previous callback; an empty function removes it.
  ///
  /// A deferred link that arrived while no callback was registered is delivered soon after this call, once.
  void onLink(LinkCallback callback);

  /// Registers the callback for failures that no caller receives from a task. Replaces the previous callback;
  /// an empty function removes it. The exception is a `CorvaneError` or a `CorvaneCancellationError`.
  void onError(ErrorCallback callback);

  /// Returns the last attribution result, also of an earlier launch; nullopt before the first.
  std::optional<CorvaneAttribution> lastAttribution() const;

  /// Returns the last link that opened the running application; nullopt before the first. Kept in memory
  /// only.
  std::optional<CorvaneDeepLink> lastDeepLink() const;

  /// Stores the user's consent decision, for this and every later launch. Writes the preferences file.
  ///
  /// A grant tracks the install, with `autoTrackInstall`, and resends the stored events. A denial removes the
  /// stored events. Without `requireConsent` a grant and a denial do the same, but nothing else depends on
  /// the decision. A grant that arrives while an install report without consent is in flight shares that
  /// report; the install is then counted by the next `trackInstall` or launch.
  void setConsent(bool isGranted);

  /// Reports the install, unless it was counted before. `force` reports it again. With `clickTokenSource`
  /// `automatic`, the click token is read from the pasteboard.
  ///
  /// At most one report is in flight: a call during a report shares it and its result. The attribution result
  /// is delivered through `onAttribution`, the campaign's link through `onLink` with source `deferred`.
  void trackInstall(bool force);

  /// As above, with the click token from `clickToken`: any text that contains "cv_click=" and the token. A
  /// text without a token is not an error. With `clickTokenSource` `none` the text is ignored. When a token
  /// is found, the pasteboard is emptied.
  void trackInstall(std::string_view clickToken, bool force);

  /// As `trackInstall(force)`, as a task. When no report is needed, the task completes with
  /// `lastAttribution()`, or with a result without id and link where there is none.
  CorvaneTask<CorvaneAttribution> trackInstallAsync(bool force);

  /// As `trackInstall(clickToken, force)`, as a task.
  CorvaneTask<CorvaneAttribution> trackInstallAsync(std::string_view clickToken, bool force);

  /// Handles the URL that opened the running application. Returns true when the URL is a tracking link; the
  /// link is then handled in the background. Returns false when it is not; the call then has no effect. The
  /// call itself sends and stores nothing, and has no errors. It takes microseconds for a URL of ordinary
  /// length and at most a millisecond for one of 64 KiB; a longer URL is not a tracking link.
  ///
  /// The backend records the link or, while consent is required and not given, only resolves it. The link
  /// becomes `lastDeepLink()` and is delivered through `onLink` with source `reengagement`. When the backend
  /// fails, the link is built from the URL: the slug, the URL, and as `deepLinkPath` the value of the URL's
  /// last "path" query item. The failure to record the link goes to `onError`, before the link is delivered.
  ///
  /// A tracking link is a URL with a scheme (RFC 3986), a first path segment, which is the slug, and, when
  /// `linkDomains` is not empty, a host that equals one of its entries or is a sub-domain of one. White space
  /// around the text is removed. Campaign links often contain unexpanded macros and free text, so characters
  /// that the RFC does not allow are percent-encoded before the URL is parsed. The path is split at "/" and
  /// its segments are decoded; empty segments are skipped. A decoded first segment that is "." or "..",
  /// contains "/" or "\", or is not UTF-8 is not a slug. "+" stays "+".
  ///
  /// | text                                         | handled | host            | slug       | path item  |
  /// |----------------------------------------------|---------|-----------------|------------|------------|
  /// | `https://go.example/summer/x?path=/sale`     | yes     | `go.example`    | `summer`   | `/sale`    |
  /// | `HTTPS://user@GO.example:/{campaign}?path=`  | yes     | `GO.example`    | `{campaign}` | empty    |
  /// | `https://go.example//a b\|c?x=%%GAID%%`      | yes     | `go.example`    | `a b\|c`   |            |
  /// | `https://[2001:db8::1]:8080/s#path=/no`      | yes     | `2001:db8::1`   | `s`        |            |
  /// | `https://go.example/été?path=a+b&path=%zz`   | yes     | `go.example`    | `été`      | `%zz`      |
  /// | `https://go.example/s?a?path=/x&path=/y?z`   | yes     | `go.example`    | `s`        | `/y?z`     |
  /// | `shop:///abc`, `shop:abc`                    | yes     | none            | `abc`      |            |
  /// | `shop://open/abc`                            | yes     | `open`          | `abc`      |            |
  /// | `https://go.example`, `https://go.example//` | no      |                 |            |            |
  /// | `https://go.example/%2e%2E/abc`, `…/a%2Fb`, `…/a%5Cb` | no |             |            |            |
  /// | `https://go.example/%FF`                     | no      |                 |            |            |
  /// | `go.example/summer`, `/summer`, ``           | no      |                 |            |            |
  ///
  /// (Blank: absent. A link without a host never matches `linkDomains`.)
  bool handleDeepLink(std::string_view url);

  /// As `handleDeepLink`, as a task. The task completes with the link after `onLink` has returned. It fails
  /// with `CorvaneError::notACorvaneURL` when the URL is not a tracking link; failures of the backend do not
  /// make it fail.
  CorvaneTask<CorvaneDeepLink> handleDeepLinkAsync(std::string_view url);

  /// Sends an event: a name, and optionally an amount and its currency (an ISO 4217 code, sent in upper
  /// case).
  ///
  /// An event that fails is stored in the preferences file, with the key that it was sent with, and its
  /// failure goes to `onError`. Stored events are sent again after the next success, by `configure`, by a
  /// grant and after a counted install; the backend recognises the key and records each event once. At most
  /// 100 events and 4 MiB are stored; beyond that the oldest are removed, and a single event of more than 4
  /// MiB is not stored. An event without a JSON form (the amount is not finite, or a text is not UTF-8) fails
  /// and is not stored. While consent is required and not given, events are dropped. Events in flight when
  /// the process exits are stored. When the process is killed, only the events that had failed by then are
  /// stored, and those that `storeUnsentEvents` stored.
  ///
  /// At most eight events are sent at once over HTTP/1.1, and 100 over HTTP/2; the others wait in line, in
  /// their order, for as long as the backend responds to any request. When it responds to none for
  /// `CorvaneOptions::requestTimeout`, the events that have waited that long fail. Links and installs never
  /// wait behind events.
  void trackEvent(std::string_view name, std::optional<double> value = std::nullopt,
                  std::optional<std::string_view> currency = std::nullopt);

  /// As `trackEvent`, as a task. The task completes with the backend's response, or with a result without id
  /// for an event that was dropped. It fails when the event fails, whether or not the event is stored.
  CorvaneTask<CorvaneEventResult> trackEventAsync(std::string_view name,
                                                  std::optional<double> value = std::nullopt,
                                                  std::optional<std::string_view> currency = std::nullopt);

  /// Stores the events that are not delivered yet, for a host that is about to be suspended or stopped
  /// without an exit: the newest 100 of those that wait in line, wait between two attempts, or are in flight.
  /// They are sent as before, and leave the preferences file when they are delivered. After the process was
  /// killed, the next `configure` sends what is left, with the same keys, so the backend records each event
  /// once.
  ///
  /// Call it from any thread, for example when the application moves to the background. Unlike the other
  /// operations it waits, for the library's thread and one write of the file, but returns within 250 ms (on
  /// the library's thread, where pasteboards are called, without that bound). Returns true when every event
  /// that this client tracked before is delivered or stored (or is older than the newest 100), and false when
  /// the file could not be written or the time was over; the events are then written as soon as possible.
  bool storeUnsentEvents();

  /// Asks for permission to track, through `CorvanePlatform::trackingAuthorization`. Calls `completion` once,
  /// on the main thread, never inside this call, with true when permission is given. The user is asked only
  /// while the status is `notDetermined`; for any other status `completion` is called without a question, and
  /// a line is logged unless the status is `authorized`.
  ///
  /// The result is not stored and does not change consent or what is sent. When the provider never completes
  /// the request, `completion` is never called; until then it is kept, even after the client is destroyed.
  void requestTrackingAuthorization(std::function<void(bool isAuthorized)> completion);

  /// As `requestTrackingAuthorization`, as a task. The task does not fail, and `cancel` has no effect on it.
  CorvaneTask<bool> requestTrackingAuthorizationAsync();

  /// Registers the application for ad-network attribution through `CorvanePlatform::adNetwork`. The call
  /// depends on the version of the operating system: from 16.1 none is needed, from 15.4 it updates the
  /// conversion value to 0, and before 15.4 it registers the application. The outcome is logged only.
  void registerForSKAdAttribution();

  /// Sets the conversion value of ad-network attribution. `value` is passed on unchecked (the ad network
  /// accepts 0 to 63). From version 16.1, `coarse` is sent too, `low` by default. Before 15.4 there are no
  /// conversion values; the application is registered instead. The outcome is logged only.
  void updateConversionValue(std::int64_t value,
                             std::optional<CorvaneCoarseConversionValue> coarse = std::nullopt);

  // Rejects nullptr.
  bool handleDeepLink(std::nullptr_t url) = delete;
  CorvaneTask<CorvaneDeepLink> handleDeepLinkAsync(std::nullptr_t url) = delete;
  void trackEvent(std::string_view name, std::optional<double> value, std::nullptr_t currency) = delete;
  CorvaneTask<CorvaneEventResult> trackEventAsync(std::string_view name, std::optional<double> value,
                                                  std::nullptr_t currency) = delete;
  // Rejects a first argument that is not an integer: a fraction, or a coarse value.
  template <class T>
    requires(!std::is_integral_v<T>)
  void updateConversionValue(T value,
                             std::optional<CorvaneCoarseConversionValue> coarse = std::nullopt) = delete;
  // Rejects a single text: without these, a literal would convert to `force` = true.
  template <class T>
    requires(!std::is_same_v<T, bool>)
  void trackInstall(T force) = delete;
  template <class T>
    requires(!std::is_same_v<T, bool>)
  CorvaneTask<CorvaneAttribution> trackInstallAsync(T force) = delete;
  void trackInstall(std::nullptr_t clickToken, bool force) = delete;
  CorvaneTask<CorvaneAttribution> trackInstallAsync(std::nullptr_t clickToken, bool force) = delete;
  void trackInstall(std::string_view clickToken, const void* force) = delete;
  CorvaneTask<CorvaneAttribution> trackInstallAsync(std::string_view clickToken, const void* force) = delete;

 private:
  friend class CorvanePasteCoordinator;

  explicit Corvane(std::unique_ptr<Client> client);

  std::unique_ptr<Client> client_;
};
