#include "model/JSONScalar.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace corvane {
namespace {

std::string shortest(double number, std::chars_format format) {
  char digits[64];
  const auto end = std::to_chars(std::begin(digits), std::end(digits), number, format).ptr;
  return {digits, end};
}

struct TextOf {
  std::string operator()(std::nullptr_t) const { return {}; }
  std::string operator()(bool value) const { return value ? "true" : "false"; }
  std::string operator()(std::int64_t value) const { return std::to_string(value); }
  std::string operator()(double value) const { return decimalText(value); }
  std::string operator()(const std::string& value) const { return value; }
};

/// The number as digits × 10^exponent, without zeros at either end of the digits. Zero has none.
struct Decimal {
  bool isNegative = false;
  std::string digits{};
  std::int64_t exponent = 0;
};

/// None where the exponent is so far from zero that no text is long enough to make up for it.
std::optional<std::int64_t> readExponent(std::string_view text) {
  constexpr std::int64_t farthest = 1'000'000'000;
  if (text.starts_with('+')) text.remove_prefix(1);
  std::int64_t exponent = 0;
  const bool isRead = std::from_chars(text.data(), text.data() + text.size(), exponent).ec == std::errc();
  return isRead && exponent > -farthest && exponent < farthest ? std::optional(exponent) : std::nullopt;
}

std::optional<Decimal> readDecimal(std::string_view number) {
  Decimal decimal{.isNegative = number.starts_with('-')};
  number.remove_prefix(decimal.isNegative ? 1 : 0);
  const std::string_view mantissa = number.substr(0, number.find_first_of("eE"));
  const std::string_view whole = mantissa.substr(0, mantissa.find('.'));
  const std::string_view fraction = mantissa.substr(std::min(whole.size() + 1, mantissa.size()));
  decimal.digits.append(whole).append(fraction);
  decimal.digits.erase(0, std::min(decimal.digits.find_first_not_of('0'), decimal.digits.size()));
  const std::size_t kept = decimal.digits.find_last_not_of('0') + 1;
  decimal.exponent = static_cast<std::int64_t>(decimal.digits.size() - kept - fraction.size());
  decimal.digits.resize(kept);
  if (mantissa.size() == number.size() || decimal.digits.empty()) return decimal;
  const auto exponent = readExponent(number.substr(mantissa.size() + 1));
  if (!exponent) return std::nullopt;
  decimal.exponent += *exponent;
  return decimal;
}

}  // namespace

std::string decimalText(double number) {
  const double magnitude = std::fabs(number);
  const bool positional = magnitude == 0 || (magnitude >= 0.0001 && magnitude < 0x1p53);
  if (!positional) return shortest(number, std::chars_format::scientific);
  std::string digits = shortest(number, std::chars_format::fixed);
  if (digits.find('.') == std::string::npos) digits += ".0";
  return digits;
}

std::optional<std::int64_t> exactInteger(std::string_view number) {
  constexpr std::int64_t mostDigits = 19;
  const auto decimal = readDecimal(number);
  if (!decimal) return std::nullopt;
  if (decimal->digits.empty()) return 0;
  if (decimal->exponent < 0 || decimal->exponent > mostDigits || decimal->digits.size() > mostDigits)
    return std::nullopt;
  const std::string text =
      (decimal->isNegative ? "-" : "") + decimal->digits + std::string(decimal->exponent, '0');
  std::int64_t integer = 0;
  const bool fits = std::from_chars(text.data(), text.data() + text.size(), integer).ec == std::errc();
  return fits ? std::optional(integer) : std::nullopt;
}

std::string textOf(const JSONScalar& scalar) {
  return std::visit(TextOf{}, scalar);
}

}  // namespace corvane
