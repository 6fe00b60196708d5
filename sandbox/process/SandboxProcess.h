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

/// The answer to one plain HTTP request. Header names are in lower case.
struct SandboxAnswer {
  long status = 0;  // 0: no answer came, and `error` says why
  std::string body;
  std::map<std::string, std::string> headers;
  std::string error;

  /// The body read as JSON; throws when it is not.
  nlohmann::json json() const;
};

/// One `corvane-sandbox` that runs as a child process on a free port of its own, for as long as this object
/// lives. The child also ends when the test process dies, however it dies, so that nothing stays running.
///
///   SandboxProcess sandbox;
///   sandbox.link({{"slug", "summer"}, {"deepLinkPath", "/offers/7"}, {"customData", {{"price", 9.99}}}});
///   std::string text = sandbox.click("summer").text;      // what a visitor's pasteboard would hold
///   sandbox.faults({{"path", "/v1/events"}, {"status", 503}, {"times", 2}});
///   ...                                                   // the code under test talks to sandbox.baseURL()
///   EXPECT_EQ(sandbox.records()["installs"].size(), 1);
///
/// Every operation blocks, may be called from any thread, and throws `std::runtime_error` when the sandbox
/// refuses. The formats are those of docs/backend.md. Callers that build or read JSON include
/// <nlohmann/json.hpp>.
class SandboxProcess {
 public:
  /// Starts the sandbox with `--port 0` and the given options, and waits until it listens. With "--tls" among
  /// them the sandbox speaks HTTPS and `certificateFile()` names its certificate.
  /// `program` is the corvane-sandbox to start; empty means the one of this build.
  explicit SandboxProcess(std::vector<std::string> options = {}, const std::string& program = {});

  /// Kills the child when it still runs, and waits for its end.
  ~SandboxProcess();

  SandboxProcess(const SandboxProcess&) = delete;
  SandboxProcess& operator=(const SandboxProcess&) = delete;

  /// The origin that it listens on, "http://127.0.0.1:40123", without a trailing slash.
  const std::string& baseURL() const { return baseURL_; }

  /// A PEM file with the certificate of a sandbox with "--tls", to be trusted as an authority; else empty.
  const std::string& certificateFile() const { return certificateFile_; }

  pid_t pid() const { return process_->id(); }

  /// Creates or replaces a campaign link; gives the link as the sandbox keeps it, with its `url`.
  nlohmann::json link(const nlohmann::json& link) const;

  struct Click {
    std::string token;  // 32 lower-case hexadecimal digits
    std::string text;   // what the landing page puts on the pasteboard
  };

  /// A click without a browser. `ageSeconds` puts it into the past.
  Click click(const std::string& slug, double ageSeconds = 0) const;

  /// Scripts the next answers: one fault, or an array of them, after those already scripted.
  void faults(const nlohmann::json& faults) const;
  void clearFaults() const;

  /// Everything that the sandbox has seen since its start or the last `reset`.
  nlohmann::json records() const;
  void reset() const;

  /// Waits until the records satisfy the condition, which is looked at again after each thing that happens;
  /// gives those records, or throws when the time is up.
  nlohmann::json awaitRecords(const std::function<bool(const nlohmann::json&)>& condition,
                              std::chrono::milliseconds timeout = std::chrono::seconds(30)) const;

  /// Any other request. Redirects are not followed. `headers` are whole lines ("X-Api-Key: cv_1").
  SandboxAnswer request(const std::string& method, const std::string& path, const std::string& body = {},
                        const std::vector<std::string>& headers = {}) const;
  SandboxAnswer post(const std::string& path, const nlohmann::json& body,
                     std::vector<std::string> headers = {}) const;

  /// Ends the sandbox by `signal` and waits: its exit status, or minus the number of the signal that killed
  /// it.
  int terminate(int signal);

  /// Closes the child's standard input, as the end of this process would, and waits for the end that follows.
  int closeInput();

  /// What it printed after the line with its address. To be called once it has ended.
  std::string remainingOutput() const { return end_.output; }

 private:
  std::string certificateFile_;
  std::string temporaryFolder_;  // holds the certificate file
  std::optional<ChildProcess> process_;
  std::string baseURL_;
  ChildEnd end_;
};

}  // namespace corvane::test
