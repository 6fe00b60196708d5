#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "Stage.h"

namespace corvane::demo {

/// The slug of the one campaign.
inline constexpr const char* slug = "summer";

/// Makes the one campaign at the backend, which runs.
void makeCampaign(Stage& stage);

/// Plays all scenes on a stage whose backend runs. Throws when one cannot go on.
void playScenes(Stage& stage);

void playInstallScenes(Stage& stage);
void playLinkScenes(Stage& stage);
void playEventScenes(Stage& stage);

/// The text at a path of a recorded row ("/request/deviceId"); empty where there is none.
inline std::string textAt(const nlohmann::json& row, const char* path) {
  return row.value(nlohmann::json::json_pointer(path), std::string());
}

}  // namespace corvane::demo
