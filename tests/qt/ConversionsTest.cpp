#include "CorvaneQt/Conversions.h"

#include <gtest/gtest.h>

namespace CorvaneQt {
namespace {

TEST(Conversions, KeepTextsAndEncodeURLsAsANetworkTakesThem) {
  const QString text = QString::fromUtf8("grüße 𝄞");
  EXPECT_EQ(toStdString(text), "grüße 𝄞");
  EXPECT_EQ(toQString(toStdString(text)), text);
  EXPECT_EQ(toQString("grüße 𝄞"), text);
  EXPECT_TRUE(toQString(std::optional<std::string>()).isNull());
  EXPECT_EQ(toStdString(QUrl("https://go.example/s?path=/a b&c={d}")),
            "https://go.example/s?path=/a%20b&c=%7Bd%7D");
  EXPECT_EQ(toStdString(QUrl("shop:///abc")), "shop:///abc");
  EXPECT_EQ(toStdString(QUrl()), "");
  const CorvaneDeepLink link({}, "https://go.example/s", {}, {}, {}, {}, {}, {}, {}, {});
  EXPECT_EQ(toQUrl(link), QUrl("https://go.example/s"));
}

}  // namespace
}  // namespace CorvaneQt
