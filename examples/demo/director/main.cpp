#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>

#include "Interrupt.h"
#include "Narrator.h"
#include "Scenes.h"
#include "Stage.h"
#include "WindowScenes.h"

namespace {

using namespace corvane::demo;
using Clock = std::chrono::steady_clock;

constexpr const char* usage =
    R"(corvane-demo: an application with the library in it, played against a backend on this machine.

  --sandbox PATH   the corvane-sandbox to start as the backend
  --data FOLDER    where the backend and the applications keep their files while the demo runs
  --window PATH    plays the shop with a window that is there instead of the scenes on the console: on the
                   user's screen, or with --pictures on one that nobody sees
  --pictures FOLDER  where to keep the pictures of that

Exits with 0 when every outcome is as it should be.
)";

struct Options {
  std::string sandbox;
  std::filesystem::path data;
  std::string window;
  std::filesystem::path pictures;
};

std::optional<Options> readArguments(int count, char** arguments) {
  Options options;
  for (int i = 1; i + 1 < count; i += 2) {
    const std::string name = arguments[i];
    if (name == "--sandbox") options.sandbox = arguments[i + 1];
    if (name == "--data") options.data = arguments[i + 1];
    if (name == "--window") options.window = arguments[i + 1];
    if (name == "--pictures") options.pictures = arguments[i + 1];
  }
  if (count % 2 == 0 || options.sandbox.empty() || options.data.empty()) return std::nullopt;
  return options;
}

/// A folder of this run's own, removed with everything in it unless it is kept.
class RunFolder {
 public:
  explicit RunFolder(const std::filesystem::path& parent) {
    std::filesystem::create_directories(parent);
    std::string name = std::filesystem::absolute(parent) / "run-XXXXXX";
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("cannot write in " + parent.string());
    path_ = name;
  }
  ~RunFolder() {
    std::error_code ignored;
    if (!kept_) std::filesystem::remove_all(path_, ignored);
  }
  RunFolder(const RunFolder&) = delete;
  RunFolder& operator=(const RunFolder&) = delete;

  const std::filesystem::path& path() const { return path_; }
  void keep() { kept_ = true; }

 private:
  std::filesystem::path path_;
  bool kept_ = false;
};

int tellVerdict(const Narrator& narrator, RunFolder& folder, Clock::duration elapsed,
                const char* application) {
  const double seconds = std::chrono::duration<double>(elapsed).count();
  if (narrator.failures().empty()) {
    std::printf(
        "\nAll %ld checks hold (%.1f s). Nothing is left running.\n"
        "The application is %s; the scenes are examples/demo/director/*Scenes.cpp.\n",
        narrator.checks(), seconds, application);
    return EXIT_SUCCESS;
  }
  folder.keep();
  std::printf("\n%zu of %ld checks FAILED (%.1f s):\n", narrator.failures().size(), narrator.checks(),
              seconds);
  for (const std::string& failure : narrator.failures()) std::printf("  %s\n", failure.c_str());
  std::printf("What the backend and the applications stored is in %s\n", folder.path().c_str());
  return EXIT_FAILURE;
}

void playConsole(Stage& stage) {
  Narrator& narrator = stage.narrator();
  narrator.title("Corvane: an application, its links and its events, in twelve scenes");
  narrator.say(
      "Lines that begin with [Corvane] are the library's own, \"host:\" is what its callbacks were given, "
      "and");
  narrator.say("\"backend:\" is what corvane-sandbox recorded at " + stage.backend().baseURL() + ".");
  playScenes(stage);
}

int play(const Options& options, const Interrupt& interrupt) {
  const auto begin = Clock::now();
  RunFolder folder(options.data);
  Narrator narrator;
  Stage stage(options.sandbox, folder.path(), interrupt, narrator);
  stage.startBackend();
  if (options.window.empty()) {
    playConsole(stage);
  } else if (options.pictures.empty()) {
    showWindow(stage, options.window);
  } else {
    playWindowScenes(stage, options.window, options.pictures);
  }
  return tellVerdict(narrator, folder, Clock::now() - begin,
                     options.window.empty() ? "examples/demo/host/main.cpp" : "examples/qt-shop");
}

}  // namespace

int main(int count, char** arguments) {
  const auto options = readArguments(count, arguments);
  if (!options) {
    std::fputs(usage, stderr);
    return 2;
  }
  const Interrupt interrupt;
  try {
    return play(*options, interrupt);
  } catch (const Interrupted&) {
  } catch (const std::exception& error) {
    if (interrupt.signal() == 0) {
      std::fflush(stdout);
      std::fprintf(stderr, "\nThe demo cannot go on: %s\n", error.what());
      return EXIT_FAILURE;
    }
  }
  std::puts("\nInterrupted. Nothing is left running.");
  std::fflush(stdout);
  interrupt.die();
}
