#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include "process/ChildProcess.h"

namespace corvane::test {

/// The response to one HTTP request. Header names are in lower case.
struct SandboxAnswer {
  long status = 0;  // 0: no response, and `error` says why
  std::string body;
  std::map<std::string, std::string> headers;
  std::string error;

  /// The body as JSON. Throws when it is not JSON.
  nlohmann::json json() const;
};

/// A `corvane-sandbox` that runs as a child process on a free port while this object exists. It also ends
/// when this process ends in any way.
///
///   SandboxProcess sandbox;
///   sandbox.link({{"slug", "summer"}, {"deepLinkPath", "/offers/7"}, {"customData", {{"price", 9.99}}}});
///   std::string text = sandbox.click("summer").text;      // what a visitor's pasteboard would hold
///   sandbox.faults({{"path", "/v1/events"}, {"status", 503}, {"times", 2}});
///   ...                                                   // the code under test talks to sandbox.baseURL()
///   EXPECT_EQ(sandbox.records()["installs"].size(), 1);
///
/// Every operation blocks and throws `std::runtime_error` on failure. Requests may be sent from any thread.
/// The formats are those of docs/backend.md. Callers that build or read JSON include <nlohmann/json.hpp>.
class SandboxProcess {
 public:
  /// Starts the sandbox with `--port 0` and the given options, and waits until it listens. `program` is the
  /// corvane-sandbox to start; empty means this build's.
  explicit SandboxProcess(std::vector<std::string> options = {}, const std::string& program = {});

  /// Kills the sandbox if it still runs.
  ~SandboxProcess();

  SandboxProcess(const SandboxProcess&) = delete;
  SandboxProcess& operator=(const SandboxProcess&) = delete;

  /// The origin that it listens on, "http://127.0.0.1:40123", without a trailing slash.
  const std::string& baseURL() const { return baseURL_; }

  /// With "--tls": a PEM file with the certificate, to be trusted as an authority. Otherwise empty.
  const std::string& certificateFile() const { return certificateFile_; }

  pid_t pid() const { return process_->id(); }

  /// Creates or replaces a campaign link. Returns it with its `url`.
  nlohmann::json link(const nlohmann::json& link) const;

  struct Click {
    std::string token;  // 32 lower-case hexadecimal digits
    std::string text;   // what the landing page puts on the pasteboard
  };

  /// Records a click that happened `ageSeconds` ago.
  Click click(const std::string& slug, double ageSeconds = 0) const;

  /// Adds one fault, or an array of them, after those already scripted.
  void faults(const nlohmann::json& faults) const;
  void clearFaults() const;

  /// All records since the start or the last `reset`.
  nlohmann::json records() const;
  void reset() const;

  /// Waits until the records satisfy the condition, and returns them. Throws at the time limit.
  nlohmann::json awaitRecords(const std::function<bool(const nlohmann::json&)>& condition,
                              std::chrono::milliseconds timeout = std::chrono::seconds(30)) const;

  /// Sends any other request. Redirects are not followed. `headers` are whole lines ("X-Api-Key: cv_1").
  SandboxAnswer request(const std::string& method, const std::string& path, const std::string& body = {},
                        const std::vector<std::string>& headers = {}) const;
  SandboxAnswer post(const std::string& path, const nlohmann::json& body,
                     std::vector<std::string> headers = {}) const;

  /// Sends the signal and waits for the end: the exit status, or minus the number of the signal that killed
  /// the sandbox.
  int terminate(int signal);

  /// Closes the sandbox's standard input, as the end of this process does, and waits for its end.
  int closeInput();

  /// What it printed after the line with its address, once it has ended.
  std::string remainingOutput() const { return end_.output; }

 private:
  std::string certificateFile_;
  std::string temporaryFolder_;  // holds the certificate file
  std::optional<ChildProcess> process_;
  std::string baseURL_;
  ChildEnd end_;
};

}  // namespace corvane::test
