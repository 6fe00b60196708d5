#include <gtest/gtest.h>

#include <bit>
#include <charconv>
#include <cmath>
#include <random>

#include "model/CodecFailure.h"
#include "model/JSONScalar.h"
#include "model/Requests.h"
#include "model/Responses.h"
#include "model/ResultJSON.h"

using namespace corvane;

namespace {

std::string failureOf(const std::string& body) {
  try {
    decodeEventResult(body);
  } catch (const DecodingFailure& failure) {
    return failure.what();
  }
  return "(decoded)";
}

/// What a member value of `customData` becomes.
std::string customText(const std::string& value) {
  return decodeDeepLink(R"({"customData":{"k":)" + value + "}}").customData->values.at("k");
}

CorvaneDeepLink fullLink() {
  return {"slug",
          "https://go.example/slug",
          "/path",
          "ios",
          "android",
          "fallback",
          "summer",
          "mail",
          std::map<std::string, std::string>{{"source", "news"}},
          std::map<std::string, std::string>{}};
}

}  // namespace

TEST(Answers, ReadEveryMemberAndIgnoreUnknownOnes) {
  const auto result = decodeEventResult(
      R"({"id":42.0,"attributed":true,"more":[1],"deepLink":{"slug":"s","url":"u","deepLinkPath":"/p",
          "iosUrl":"i","androidUrl":"a","fallbackUrl":"f","campaign":"c","channel":"h",
          "utm":{"source":"x"},"customData":{},"iosURL":"no"}})");
  EXPECT_EQ(result.id, 42);
  EXPECT_TRUE(result.attributed);
  const auto link = toDeepLink(*result.deepLink);
  using Map = std::map<std::string, std::string>;
  EXPECT_EQ(link, CorvaneDeepLink("s", "u", "/p", "i", "a", "f", "c", "h", Map{{"source", "x"}}, Map{}));

  const auto bare = decodeEventResult(R"({"id":null,"attributed":false,"deepLink":null})");
  EXPECT_FALSE(bare.id || bare.attributed || bare.deepLink);
  EXPECT_EQ(toDeepLink(decodeDeepLink("{}")), CorvaneDeepLink({}, {}, {}, {}, {}, {}, {}, {}, {}, {}));
  EXPECT_EQ(decodeDeepLink(R"({"utm":null})").utm, std::nullopt);
}

TEST(Answers, NameTheInvalidMember) {
  const std::pair<const char*, const char*> table[] = {
      {R"({})", "attributed: expected a boolean"},
      {R"({"attributed":null})", "attributed: expected a boolean"},
      {R"({"attributed":"true"})", "attributed: expected a boolean"},
      {R"({"attributed":1})", "attributed: expected a boolean"},
      {R"({"attributed":true,"id":1.5})", "id: expected a 64-bit integer"},
      {R"({"attributed":true,"id":"1"})", "id: expected a 64-bit integer"},
      {R"({"attributed":true,"id":9223372036854775808})", "id: expected a 64-bit integer"},
      {R"({"attributed":true,"id":1e19})", "id: expected a 64-bit integer"},
      {R"({"attributed":true,"deepLink":[]})", "deepLink: expected an object"},
      {R"({"attributed":true,"deepLink":{"slug":1}})", "deepLink.slug: expected a string"},
      {R"({"attributed":true,"deepLink":{"utm":{"a":[]}}})",
       "deepLink.utm.a: Unsupported customData scalar value"},
      {R"({"attributed":true,"deepLink":{"customData":"x"}})", "deepLink.customData: expected an object"},
      {R"([])", "expected an object"}};
  for (const auto& [body, text] : table) EXPECT_EQ(failureOf(body), text) << body;
  EXPECT_EQ(decodeEventAck(R"({"attributed":true,"id":9223372036854775807})").id, INT64_MAX);
  EXPECT_EQ(decodeEventAck(R"({"attributed":true,"id":-9223372036854775808})").id, INT64_MIN);
  EXPECT_THROW(decodeEventAck(R"({"attributed":true,"id":-9223372036854775809})"), DecodingFailure);
}

TEST(Answers, RejectWhatIsNotTheJSONOfAResponse) {
  const std::string deep(100000, '[');
  for (const std::string& body :
       {deep, R"({"attributed":)" + deep + std::string(100000, ']') + "}",
        std::string("{\"attributed\":1e400}"), std::string("{\"attributed\":tr"), std::string("\xFF\xFE"),
        std::string("{\"a\xFF\":1,\"attributed\":true}"), std::string("null"), std::string("\0", 1),
        std::string("{\"attributed\":true}x"), std::string("{\"attributed\":true}\0x", 21)})
    EXPECT_THROW(decodeEventResult(body), DecodingFailure);
  const auto nested = [](std::size_t depth) {
    return R"({"attributed":true,"more":)" + std::string(depth, '[') + std::string(depth, ']') + "}";
  };
  EXPECT_TRUE(decodeEventResult(nested(60)).attributed);
  EXPECT_THROW(decodeEventResult(nested(70)), DecodingFailure);
  EXPECT_TRUE(decodeEventResult(R"({"attributed":false,"attributed":true})").attributed);
}

TEST(CustomData, TurnsEveryScalarIntoItsText) {
  const std::pair<const char*, const char*> table[] = {{R"("abc")", "abc"},
                                                       {R"("")", ""},
                                                       {"42", "42"},
                                                       {"-7", "-7"},
                                                       {"2.5", "2.5"},
                                                       {"0.1", "0.1"},
                                                       {"-3.75", "-3.75"},
                                                       {"0.0001", "0.0001"},
                                                       {"0.00001", "1e-05"},
                                                       {"0.000015", "1.5e-05"},
                                                       {"1e20", "1e+20"},
                                                       {"1e300", "1e+300"},
                                                       {"0.0", "0.0"},
                                                       {"3.0", "3.0"},
                                                       {"9007199254740991.0", "9007199254740991.0"},
                                                       {"9007199254740992.0", "9.007199254740992e+15"},
                                                       {"9223372036854775807", "9223372036854775807"},
                                                       {"9223372036854775808", "9.223372036854776e+18"},
                                                       {"true", "true"},
                                                       {"false", "false"},
                                                       {"null", ""}};
  for (const auto& [value, text] : table) EXPECT_EQ(customText(value), text) << value;
  EXPECT_EQ(decodeDeepLink(R"({"utm":{" A b":"1"}})").utm->values.count(" A b"), 1U);
}

TEST(CustomData, WritesAnyDoubleSoThatItReadsBackEqual) {
  std::mt19937_64 random(20261122);
  for (int i = 0; i < 100000; ++i) {
    const auto number = std::bit_cast<double>(random());
    if (!std::isfinite(number)) continue;
    const std::string text = decimalText(number);
    double back = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), back);
    ASSERT_TRUE(error == std::errc() && end == text.data() + text.size() && back == number) << text;
    const double magnitude = std::fabs(number);
    ASSERT_EQ(text.find('e') == text.npos, magnitude == 0 || (magnitude >= 0.0001 && magnitude < 0x1p53))
        << text;
  }
}

TEST(Requests, LeaveOutWhatIsAbsentAndKeepWhatIsEmpty) {
  EXPECT_EQ(encode(InstallRequest{.identifier = "", .platform = "iOS", .clickId = {}, .deviceId = "D"}),
            R"({"consent":false,"deviceId":"D","identifier":"","platform":"iOS"})");
  EXPECT_EQ(encode(OpenRequest{
                .identifier = "app", .platform = {}, .clickId = {}, .deviceId = {}, .host = {}, .slug = "s"}),
            R"({"identifier":"app","slug":"s"})");
  EventRequest event{.identifier = "app",
                     .name = "buy",
                     .value = 9.99,
                     .currency = {},
                     .platform = {},
                     .clickId = {},
                     .deviceId = {}};
  EXPECT_EQ(encode(event), R"({"identifier":"app","name":"buy","value":9.99})");
  event.value = std::nan("");
  EXPECT_THROW(encode(event), EncodingFailure);
  event.value = HUGE_VAL;
  EXPECT_THROW(encode(event), EncodingFailure);
  event.value.reset();
  event.name = "\xFF";
  EXPECT_THROW(encode(event), EncodingFailure);
}

TEST(CorvaneDeepLink, HasADestinationUnlessItsPathIsTheRoot) {
  const auto linkTo = [](CorvaneDeepLink::Text path) {
    return CorvaneDeepLink({}, "url", std::move(path), {}, {}, "fallback", {}, {}, {}, {});
  };
  for (const auto& root : {CorvaneDeepLink::Text(), CorvaneDeepLink::Text(""), CorvaneDeepLink::Text("/")}) {
    EXPECT_EQ(linkTo(root).path(), "/");
    EXPECT_FALSE(linkTo(root).hasRoutableDestination());
  }
  for (const char* path : {"/a/b", "a", " ", "//"}) {
    EXPECT_EQ(linkTo(path).path(), path);
    EXPECT_TRUE(linkTo(path).hasRoutableDestination());
  }
}

TEST(ResultJSON, ReadsBackEqual) {
  for (const auto& attribution :
       {CorvaneAttribution(42, true, fullLink()), CorvaneAttribution({}, false, {}),
        CorvaneAttribution(0, false, CorvaneDeepLink("", {}, {}, {}, {}, {}, {}, {}, {}, {}))})
    EXPECT_EQ(decodeStoredAttribution(encode(attribution)), attribution);
  EXPECT_EQ(encode(CorvaneAttribution({}, false, {})), R"({"attributed":false})");
  EXPECT_NE(CorvaneAttribution(0, false, {}), CorvaneAttribution({}, false, {}));
}

TEST(ResultJSON, IsReadStrictlyAndByItsOwnNames) {
  const auto link =
      decodeStoredAttribution(R"({"attributed":true,"deepLink":{"iosUrl":"x","slug":"s"}})").deepLink();
  EXPECT_EQ(link->iosURL(), std::nullopt);
  EXPECT_EQ(link->slug(), "s");
  for (const char* stored :
       {"", "{}", R"({"attributed":1})", R"({"attributed":true,"deepLink":{"utm":{"a":1}}})"})
    EXPECT_THROW(decodeStoredAttribution(stored), DecodingFailure) << stored;
}
