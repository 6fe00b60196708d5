#pragma once

#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "HostProcess.h"
#include "Narrator.h"
#include "process/SandboxProcess.h"

namespace corvane::demo {

/// A device on which the application is installed: its pasteboard and the application's preferences.
struct Device {
  std::filesystem::path folder;

  void putOnPasteboard(const std::string& text) const;
  bool hasEmptyPasteboard() const;
  /// The keys of the events that wait in the application's preferences, oldest first.
  std::vector<std::string> queuedKeys() const;
  /// Looks until none waits any more, for a few seconds at most; true when none does.
  bool drainsItsQueue() const;
};

/// What the backend has recorded since it was last asked.
struct Recorded {
  nlohmann::json arrivals, installs, uncountedInstalls, opens, resolves, events;
};

/// What the scenes play on: the backend, devices, launches, and the narrator beside them.
class Stage {
 public:
  /// `folder` exists and is the stage's own.
  Stage(std::string sandboxProgram, std::filesystem::path folder, const Interrupt& interrupt,
        Narrator& narrator);

  Narrator& narrator() const { return narrator_; }
  const Interrupt& interrupt() const { return interrupt_; }

  /// The backend keeps its records between a stop and a start.
  void startBackend();
  void stopBackend();
  const test::SandboxProcess& backend() const { return *backend_; }

  /// A device without the application.
  Device newDevice();

  /// Starts the application on that device; what it prints is shown.
  std::unique_ptr<HostProcess> launch(const Device& device, std::vector<std::string> options = {}) const;
  /// The same for an application of any kind.
  std::unique_ptr<HostProcess> start(const std::string& program, std::vector<std::string> arguments) const;

  /// Waits until the backend has recorded so many events in all.
  void awaitEvents(std::size_t count) const;

  /// What is new at the backend, which is shown too.
  Recorded newRecords();

 private:
  nlohmann::json newRows(const nlohmann::json& records, const char* kind);

  const std::string sandboxProgram_;
  const std::filesystem::path folder_;
  const Interrupt& interrupt_;
  Narrator& narrator_;
  std::optional<test::SandboxProcess> backend_;
  std::string backendURL_;
  int devices_ = 0;
  std::map<std::string, std::size_t> seen_;  // rows of each kind
};

}  // namespace corvane::demo
