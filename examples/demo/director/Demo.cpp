#include "Demo.h"

#include <sqlite3.h>

#include <chrono>
#include <csignal>
#include <thread>

namespace corvane::demo {

using nlohmann::json;

std::vector<std::string> Device::queuedEvents() const {
  constexpr const char* query =
      "SELECT json_extract(entry.value, '$.id') FROM preferences, json_each(CAST(preferences.value AS TEXT)) "
      "AS entry WHERE preferences.key = 'io.corvane.event_queue'";
  std::vector<std::string> identifiers;
  const auto take = [](void* target, int, char** columns, char**) {
    static_cast<std::vector<std::string>*>(target)->push_back(columns[0]);
    return 0;
  };
  sqlite3* file = nullptr;
  int code = sqlite3_open_v2((folder / "preferences.sqlite").c_str(), &file, SQLITE_OPEN_READONLY, nullptr);
  if (code == SQLITE_OK) code = sqlite3_exec(file, query, take, &identifiers, nullptr);
  sqlite3_close_v2(file);
  if (code != SQLITE_OK) throw std::runtime_error("cannot read the preferences in " + folder.string());
  return identifiers;
}

bool Device::awaitEmptyQueue() const {
  for (int attempts = 0; attempts < 250 && !queuedEvents().empty(); ++attempts)
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  return queuedEvents().empty();
}

Demo::Demo(std::string sandbox, std::filesystem::path folder)
    : sandbox_(std::move(sandbox)), folder_(std::move(folder)) {
  startBackend();
  backend_->link({{"slug", slug},
                  {"deepLinkPath", "/offers/7"},
                  {"campaign", "Summer sale"},
                  {"channel", "newsletter"},
                  {"customData", {{"discount", 12.5}}}});
}

void Demo::startBackend() {
  backend_.emplace(std::vector<std::string>{"--data", folder_ / "backend.sqlite"}, sandbox_);
}

void Demo::stopBackend() {
  if (backend_->terminate(SIGTERM) != 0) throw std::runtime_error("the backend failed");
}

Device Demo::newDevice() {
  const Device device{folder_ / ("device-" + std::to_string(++devices_))};
  std::filesystem::create_directory(device.folder);
  return device;
}

Application Demo::launch(const Device& device, std::vector<std::string> options) const {
  options.insert(options.begin(),
                 {CORVANE_DEMO_HOST_PATH, "--backend", backend_->baseURL(), "--device", device.folder});
  return Application(std::move(options));
}

Application Demo::launchAndInstall(const Device& device, std::vector<std::string> options) {
  Application application = launch(device, std::move(options));
  application.waitFor("host: onAttribution");
  newRecords();
  return application;
}

json Demo::newRecords() {
  const json all = backend_->records();
  json fresh;
  for (const char* kind : {"arrivals", "installs", "uncountedInstalls", "opens", "resolves", "events"}) {
    const json& rows = all.at(kind);
    fresh[kind] = json::array();
    for (std::size_t& row = seenRows_[kind]; row < rows.size(); ++row) fresh[kind].push_back(rows[row]);
  }
  for (const json& row : fresh["arrivals"]) {
    printLine("backend: " + row["method"].get<std::string>() + " " + row["path"].get<std::string>() +
              " answered with " + row["status"].dump() + "; " + row["note"].get<std::string>());
  }
  if (fresh["arrivals"].empty()) printLine("backend: no request came");
  return fresh;
}

}  // namespace corvane::demo
