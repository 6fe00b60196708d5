#include "Stage.h"

#include <csignal>
#include <fstream>
#include <stdexcept>
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
  return std::make_unique<HostProcess>(CORVANE_DEMO_HOST_PATH, std::move(options), interrupt_,
                                       [this](const std::string& line) { narrator_.applicationLine(line); });
}

Recorded Stage::newRecords() {
  const json records = backend_->records();
  Recorded recorded{newRows(records, "arrivals"), newRows(records, "installs"),
                    newRows(records, "uncountedInstalls")};
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
