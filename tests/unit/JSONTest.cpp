#include <gtest/gtest.h>

#include "model/CodecFailure.h"
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

using Map = std::map<std::string, std::string>;

const CorvaneDeepLink fullLink("s", "u", "/p", "i", "a", "f", "c", "h", Map{{"source", "x"}}, Map{});
const CorvaneDeepLink emptyLink({}, {}, {}, {}, {}, {}, {}, {}, {}, {});

}  // namespace

TEST(Answers, ReadEveryMemberAndIgnoreUnknownOnes) {
  const auto result = decodeEventResult(
      R"({"id":42.0,"attributed":true,"more":[1],"deepLink":{"slug":"s","url":"u","deepLinkPath":"/p",
          "iosUrl":"i","androidUrl":"a","fallbackUrl":"f","campaign":"c","channel":"h",
          "utm":{"source":"x"},"customData":{},"iosURL":"no"}})");
  EXPECT_EQ(result.id, 42);
  EXPECT_TRUE(result.attributed);
  EXPECT_EQ(toDeepLink(*result.deepLink), fullLink);

  const auto bare = decodeEventResult(R"({"id":null,"attributed":false,"deepLink":null})");
  EXPECT_FALSE(bare.id || bare.attributed || bare.deepLink);
  EXPECT_EQ(toDeepLink(decodeDeepLink(R"({"utm":null})")), emptyLink);
}

TEST(Answers, NameTheInvalidMember) {
  const std::pair<const char*, const char*> table[] = {
      {R"({})", "attributed: expected a boolean"},
      {R"({"attributed":1})", "attributed: expected a boolean"},
      {R"({"attributed":true,"id":"1"})", "id: expected a 64-bit integer"},
      {R"({"attributed":true,"deepLink":[]})", "deepLink: expected an object"},
      {R"({"attributed":true,"deepLink":{"slug":1}})", "deepLink.slug: expected a string"},
      {R"({"attributed":true,"deepLink":{"utm":{"a":[]}}})",
       "deepLink.utm.a: Unsupported customData scalar value"},
      {R"({"attributed":true,"deepLink":{"customData":"x"}})", "deepLink.customData: expected an object"},
      {R"([])", "expected an object"}};
  for (const auto& [body, text] : table) EXPECT_EQ(failureOf(body), text) << body;
}

TEST(Answers, ReadIntegersExactlyHoweverTheyAreWritten) {
  const std::pair<std::string, std::optional<std::int64_t>> table[] = {
      {"9223372036854775807", INT64_MAX},
      {"9223372036854775807.0", INT64_MAX},
      {"922337203685477580.7e1", INT64_MAX},
      {"92233720368547758070000E-4", INT64_MAX},
      {"-9223372036854775808", INT64_MIN},
      {"-9.223372036854775808e18", INT64_MIN},
      {"1e3", 1000},
      {"1e+03", 1000},
      {"0.00012e5", 12},
      {"9007199254740993.0", 9007199254740993},
      {"-0", 0},
      {"-0.0e-99999999999999999999", 0},
      {"1" + std::string(300, '0') + "e-300", 1},
      {"9223372036854775808", {}},
      {"9223372036854775808.0", {}},
      {"-9223372036854775809", {}},
      {"1e19", {}},
      {"1.5", {}},
      {"12e-1", {}},
      {"1.0000000000000000000001", {}},
      {"4503599627370496.1", {}},
      {"1e-99999999999999999999", {}}};
  for (const auto& [number, value] : table) {
    const std::string body = R"({"attributed":true,"id":)" + number + "}";
    EXPECT_EQ(failureOf(body), value ? "(decoded)" : "id: expected a 64-bit integer") << number;
    EXPECT_EQ(value ? decodeEventAck(body).id : value, value) << number;
  }
}

TEST(Answers, RejectWhatIsNotTheJSONOfAResponse) {
  const std::string deep(100000, '[');
  for (const std::string& body :
       {deep, R"({"attributed":)" + deep + std::string(100000, ']') + "}",
        std::string("{\"attributed\":1e400}"), std::string("{\"attributed\":tr"), std::string("\xFF\xFE"),
        std::string("{\"a\xFF\":1,\"attributed\":true}"), std::string("null"), std::string("\0", 1),
        std::string("{\"attributed\":true}x"), std::string("{\"attributed\":true}\0x", 21)})
    EXPECT_THROW(decodeEventResult(body), DecodingFailure);
  EXPECT_TRUE(decodeEventResult(R"({"attributed":false,"attributed":true})").attributed);
}

TEST(Answers, SkipUnlistedMembersOfAnyDepth) {
  std::string value, end;
  for (int i = 0; i < 50'000; ++i) {
    value += R"([{"attributed":0,"a":)";
    end += "}]";
  }
  value += "1" + end;
  const auto result =
      decodeEventResult(R"({"more":)" + value + R"(,"attributed":true,"deepLink":{"slug":"s","more":)" +
                        value + R"(,"utm":{"b":"c"}},"z":[[1],{"id":2}]})");
  EXPECT_TRUE(result.attributed);
  EXPECT_EQ(result.deepLink->slug, "s");
  EXPECT_EQ(result.deepLink->utm->values, (Map{{"b", "c"}}));
  EXPECT_EQ(failureOf(R"({"attributed":true,"deepLink":{"utm":{"a":)" + value + "}}}"),
            "deepLink.utm.a: Unsupported customData scalar value");
}

TEST(CustomData, TurnsEveryScalarIntoItsText) {
  const std::pair<const char*, const char*> table[] = {{R"("abc")", "abc"},
                                                       {"42", "42"},
                                                       {"-3.75", "-3.75"},
                                                       {"0.0001", "0.0001"},
                                                       {"0.00001", "1e-05"},
                                                       {"1e300", "1e+300"},
                                                       {"0.0", "0.0"},
                                                       {"3.0", "3.0"},
                                                       {"9007199254740991.0", "9007199254740991.0"},
                                                       {"9007199254740992.0", "9.007199254740992e+15"},
                                                       {"9223372036854775807", "9223372036854775807"},
                                                       {"9223372036854775808", "9.223372036854776e+18"},
                                                       {"true", "true"},
                                                       {"null", ""}};
  for (const auto& [value, text] : table) {
    const auto link = decodeDeepLink(R"({"customData":{"k":)" + std::string(value) + "}}");
    EXPECT_EQ(link.customData->values.at("k"), text) << value;
  }
  EXPECT_EQ(decodeDeepLink(R"({"utm":{" A b":"1"}})").utm->values.count(" A b"), 1U);
}

TEST(ResultJSON, ReadsBackEqual) {
  for (const auto& attribution : {CorvaneAttribution(42, true, fullLink), CorvaneAttribution({}, false, {}),
                                  CorvaneAttribution(0, false, emptyLink)})
    EXPECT_EQ(decodeStoredAttribution(encode(attribution)), attribution);
}

TEST(ResultJSON, IsReadStrictlyAndByItsOwnNames) {
  const auto result = decodeStoredAttribution(R"({"attributed":true,"deepLink":{"iosUrl":"x"}})");
  EXPECT_EQ(result.deepLink(), emptyLink);
  EXPECT_THROW(decodeStoredAttribution(R"({"attributed":true,"deepLink":{"utm":{"a":1}}})"), DecodingFailure);
}
