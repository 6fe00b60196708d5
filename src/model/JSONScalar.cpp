#include "model/JSONScalar.h"

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

}  // namespace

std::string decimalText(double number) {
  const double magnitude = std::fabs(number);
  const bool positional = magnitude == 0 || (magnitude >= 0.0001 && magnitude < 0x1p53);
  if (!positional) return shortest(number, std::chars_format::scientific);
  std::string digits = shortest(number, std::chars_format::fixed);
  if (digits.find('.') == std::string::npos) digits += ".0";
  return digits;
}

std::string textOf(const JSONScalar& scalar) {
  return std::visit(TextOf{}, scalar);
}

}  // namespace corvane
