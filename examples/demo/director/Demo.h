#pragma once

#include <algorithm>
#include <filesystem>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "Output.h"
#include "process/ChildProcess.h"
#include "process/SandboxProcess.h"

namespace corvane::demo {

using test::ChildProcess;

/// The slug of the one campaign.
inline constexpr const char* slug = "summer";

/// A device with the application: its pasteboard and the application's preferences are in the folder.
struct Device {
  std::filesystem::path folder;

  std::filesystem::path pasteboard() const { return folder / "pasteboard.txt"; }
  /// The identifiers of the events in the stored queue, oldest first.
  std::vector<std::string> queuedEvents() const;
  /// Waits until that queue is empty; false after five seconds.
  bool awaitEmptyQueue() const;
};

/// One launch of an application. Its output is printed as it is read. Failures throw `std::runtime_error`.
class Application {
 public:
  /// Starts a program, which is killed when this process ends for any reason.
  explicit Application(std::vector<std::string> command) {
    command.insert(command.begin(), {"--pdeathsig", "KILL"});
    process_ = std::make_unique<ChildProcess>("/usr/bin/setpriv", std::move(command));
  }

  /// Reads until so many lines that contain the text have been printed since the start.
  void waitFor(const std::string& text, long times = 1) {
    while (count(text) < times) {
      if (!readLine()) throw std::runtime_error("the application ended before it printed \"" + text + "\"");
    }
  }

  void type(const std::string& line) { process_->writeLine(line); }

  /// Closes its input and waits until it has ended with exit status 0.
  void close(ChildProcess::Duration timeout = ChildProcess::defaultTimeout) {
    process_->closeInput();
    while (readLine(timeout)) {
    }
    if (process_->awaitEnd().status != 0) throw std::runtime_error("the application failed");
  }

  /// Waits for the text and closes it. Returns the ended application.
  Application runUntil(const std::string& text) && {
    waitFor(text);
    close();
    return std::move(*this);
  }

  /// How many of the lines that have been read contain the text.
  long count(const std::string& text) const {
    return std::ranges::count_if(lines_, [&](const auto& line) { return line.find(text) != line.npos; });
  }
  const std::string& lastLine() const { return lines_.back(); }

 private:
  bool readLine(ChildProcess::Duration timeout = ChildProcess::defaultTimeout) {
    const auto line = process_->readLine(timeout);
    if (line) printLine(lines_.emplace_back(*line));
    return line.has_value();
  }

  std::unique_ptr<ChildProcess> process_;
  std::vector<std::string> lines_;
};

/// The backend, with one campaign, and the devices.
class Demo {
 public:
  /// Starts the backend. It and the applications keep their files in `folder`.
  Demo(std::string sandbox, std::filesystem::path folder);

  const test::SandboxProcess& backend() const { return *backend_; }
  /// The backend keeps its records between a stop and a start. Its URL changes.
  void startBackend();
  void stopBackend();

  /// A device on which the application has not been launched.
  Device newDevice();
  Application launch(const Device& device, std::vector<std::string> options = {}) const;
  /// Launches the application on a new device and takes the records of its install.
  Application launchAndInstall(const Device& device, std::vector<std::string> options = {});

  /// Prints and returns what the backend has recorded since the last call: arrays of rows by kind.
  nlohmann::json newRecords();

 private:
  const std::string sandbox_;
  const std::filesystem::path folder_;
  std::optional<test::SandboxProcess> backend_;
  int devices_ = 0;
  std::map<std::string, std::size_t> seenRows_;  // by kind
};

}  // namespace corvane::demo
