#pragma once

#include <filesystem>
#include <string>

#include "Demo.h"

namespace corvane::demo {

/// Plays the application on the console. All three throw `std::runtime_error` when they cannot go on.
void playConsoleScenes(Demo& demo);

/// Plays a visitor with mouse and keyboard, from the campaign's landing page in a browser to the campaign's
/// product in the shop. Saves pictures of the windows in a folder.
void playWindowScenes(Demo& demo, const std::string& shop, const std::filesystem::path& pictures);

/// Shows the shop on the user's screen until its window is closed.
void showShop(Demo& demo, const std::string& shop);

}  // namespace corvane::demo
