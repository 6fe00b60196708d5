#include "corvane/CorvaneAttribution.h"

#include <utility>

CorvaneAttribution::CorvaneAttribution(std::optional<std::int64_t> id, bool attributed,
                                       std::optional<CorvaneDeepLink> deepLink)
    : id_(id), attributed_(attributed), deepLink_(std::move(deepLink)) {}
