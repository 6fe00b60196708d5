#include "platform/SKAdNetwork.h"

#include <exception>

#include "foundation/AnsweredOnce.h"

CorvaneAdNetworkProvider::~CorvaneAdNetworkProvider() = default;

namespace corvane::platform {
namespace {

using Error = std::optional<std::string>;

constexpr const char* kNoService = "This system has no ad network.";

/// Runs host code and gives the description of what it throws.
template <class Call>
Error attempt(const Call& call) {
  try {
    call();
    return std::nullopt;
  } catch (const std::exception& error) {
    return error.what();
  } catch (...) {
    return "unknown error";
  }
}

template <class Update>
void update(CorvaneAdNetworkProvider* provider, SKAdNetwork::Completion completion, const Update& call) {
  if (provider == nullptr) return completion(kNoService);
  const auto answer = answeredOnce<Error>(std::move(completion));
  if (auto error = attempt([&] { call(*provider, answer); })) answer(std::move(error));
}

}  // namespace

Error SKAdNetwork::registerAppForAdNetworkAttribution() const {
  if (!provider_) return kNoService;
  return attempt([&] { provider_->registerAppForAdNetworkAttribution(); });
}

void SKAdNetwork::updatePostbackConversionValue(std::int64_t fineValue, Completion completion) const {
  update(provider_.get(), std::move(completion), [&](CorvaneAdNetworkProvider& provider, Completion answer) {
    provider.updatePostbackConversionValue(fineValue, std::move(answer));
  });
}

void SKAdNetwork::updatePostbackConversionValue(std::int64_t fineValue,
                                                CorvaneCoarseConversionValue coarseValue,
                                                Completion completion) const {
  update(provider_.get(), std::move(completion), [&](CorvaneAdNetworkProvider& provider, Completion answer) {
    provider.updatePostbackConversionValue(fineValue, coarseValue, std::move(answer));
  });
}

}  // namespace corvane::platform
