#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <string>
#include <vector>

#include "Scenes.h"

namespace {

using namespace corvane::demo;

constexpr const char* usage = R"(corvane-demo SANDBOX FOLDER [SHOP [PICTURES]]

Plays the user of an application with the library, against a backend on this machine. Checks each outcome.

  SANDBOX   the corvane-sandbox to start as the backend
  FOLDER    the backend and the applications keep their files in FOLDER/last-run, which is emptied first
  SHOP      shows this shop with a window instead of the application on the console
  PICTURES  plays the shop's user with xdotool, and saves pictures of the windows in this folder
)";

void play(Demo& demo, const std::vector<std::string>& arguments) {
  say("Lines with [Corvane] are the library's log, lines with \"host:\" or \"shop:\" the application's "
      "output,\n"
      "and lines with \"backend:\" what corvane-sandbox recorded at " +
      demo.backend().baseURL() + ".");
  if (arguments.size() == 2) playConsoleScenes(demo);
  if (arguments.size() == 3) showShop(demo, arguments[2]);
  if (arguments.size() == 4) playWindowScenes(demo, arguments[2], arguments[3]);
}

}  // namespace

int main(int count, char** values) {
  const std::vector<std::string> arguments(values + 1, values + count);
  if (arguments.size() < 2 || arguments.size() > 4) {
    std::fputs(usage, stderr);
    return 2;
  }
  const auto folder = std::filesystem::absolute(arguments[1]) / "last-run";
  try {
    std::filesystem::remove_all(folder);
    std::filesystem::create_directories(folder);
    Demo demo(arguments[0], folder);
    play(demo, arguments);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "\nThe demo cannot go on: %s\n", error.what());
    return EXIT_FAILURE;
  }
  if (printResult()) return EXIT_SUCCESS;
  std::printf("The files of the backend and the applications are in %s\n", folder.c_str());
  return EXIT_FAILURE;
}
