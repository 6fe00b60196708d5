#pragma once

#include "Stage.h"

namespace corvane::demo {

/// Plays all scenes on a stage whose backend runs. Throws when one cannot go on.
void playScenes(Stage& stage);

}  // namespace corvane::demo
