#include "corvane/CorvaneEventResult.h"

CorvaneEventResult::CorvaneEventResult(std::optional<std::int64_t> id, bool attributed) noexcept
    : id_(id), attributed_(attributed) {}
