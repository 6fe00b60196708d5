#include "Stage.h"

#include <sqlite3.h>

#include <chrono>
#include <csignal>
#include <fstream>
#include <stdexcept>
#include <thread>
#include <utility>

namespace corvane::demo {

using nlohmann::json;

void Device::putOnPasteboard(const std::string& text) const {
  std::ofstream file(folder / "pasteboard.txt", std::ios::binary);
  file << text;
  if (!file.flush()) throw std::runtime_error("cannot write in " + folder.string());
}

bool Device::hasEmptyPasteboard() const {
  return !std::filesystem::exists(folder / "pasteboard.txt");
}

std::vector<std::string> Device::queuedKeys() const {
  sqlite3* opened = nullptr;
  const int code =
      sqlite3_open_v2((folder / "preferences.sqlite").c_str(), &opened, SQLITE_OPEN_READONLY, nullptr);
  const std::unique_ptr<sqlite3, int (*)(sqlite3*)> file(opened, sqlite3_close_v2);
  if (code != SQLITE_OK) throw std::runtime_error("cannot read the preferences in " + folder.string());
  std::string queue = "[]";
  const auto take = [](void* text, int, char** columns, char**) {
    *static_cast<std::string*>(text) = columns[0];
    return 0;
  };
  sqlite3_exec(opened, "SELECT CAST(value AS TEXT) FROM preferences WHERE key = 'io.corvane.event_queue'",
               take, &queue, nullptr);
  std::vector<std::string> keys;
  for (const json& entry : json::parse(queue)) keys.push_back(entry.at("id"));
  return keys;
}

bool Device::drainsItsQueue() const {
  const auto patience = std::chrono::steady_clock::now() + std::chrono::seconds(5);
  while (!queuedKeys().empty() && std::chrono::steady_clock::now() < patience)
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  return queuedKeys().empty();
}

Stage::Stage(std::string sandboxProgram, std::filesystem::path folder, const Interrupt& interrupt,
             Narrator& narrator)
    : sandboxProgram_(std::move(sandboxProgram)),
      folder_(std::move(folder)),
      interrupt_(interrupt),
      narrator_(narrator) {}

void Stage::startBackend() {
  backend_.emplace(std::vector<std::string>{"--data", folder_ / "backend.sqlite"}, sandboxProgram_);
  backendURL_ = backend_->baseURL();
}

void Stage::stopBackend() {
  const int status = backend_->terminate(SIGTERM);
  backend_.reset();
  if (status != 0) throw std::runtime_error("the backend did not end cleanly");
}

Device Stage::newDevice() {
  const Device device{folder_ / ("device-" + std::to_string(++devices_))};
  std::filesystem::create_directory(device.folder);
  return device;
}

std::unique_ptr<HostProcess> Stage::launch(const Device& device, std::vector<std::string> options) const {
  options.insert(options.begin(), {"--backend", backendURL_, "--device", device.folder});
  return start(CORVANE_DEMO_HOST_PATH, std::move(options));
}

std::unique_ptr<HostProcess> Stage::start(const std::string& program,
                                          std::vector<std::string> arguments) const {
  return std::make_unique<HostProcess>(program, std::move(arguments), interrupt_,
                                       [this](const std::string& line) { narrator_.applicationLine(line); });
}

void Stage::awaitEvents(std::size_t count) const {
  backend_->awaitRecords([count](const json& records) { return records.at("events").size() >= count; });
}

Recorded Stage::newRecords() {
  const json records = backend_->records();
  Recorded recorded{newRows(records, "arrivals"),          newRows(records, "installs"),
                    newRows(records, "uncountedInstalls"), newRows(records, "opens"),
                    newRows(records, "resolves"),          newRows(records, "events")};
  for (const json& arrival : recorded.arrivals) {
    narrator_.backendLine(arrival.at("method").get<std::string>() + " " +
                          arrival.at("path").get<std::string>() + " answered with " +
                          arrival.at("status").dump() + "; " + arrival.at("note").get<std::string>());
  }
  if (recorded.arrivals.empty()) narrator_.backendLine("no request came");
  return recorded;
}

json Stage::newRows(const json& records, const char* kind) {
  const json& all = records.at(kind);
  std::size_t& seen = seen_[kind];
  json rows = json::array();
  for (; seen < all.size(); ++seen) rows.push_back(all[seen]);
  return rows;
}

}  // namespace corvane::demo
