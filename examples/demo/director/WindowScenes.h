#pragma once

#include <filesystem>
#include <string>

#include "Stage.h"

namespace corvane::demo {

/// Plays a visitor's way from the campaign's landing page, in a browser, to the product page of the shop that
/// `shop` names, with a real mouse and clipboard on a screen that nobody sees. Keeps pictures in the folder
/// `pictures`.
void playWindowScenes(Stage& stage, const std::string& shop, const std::filesystem::path& pictures);

/// Shows the shop on the user's own screen, beside the backend, until its window is closed.
void showWindow(Stage& stage, const std::string& shop);

}  // namespace corvane::demo
