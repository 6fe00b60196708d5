#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace corvane {

/// One JSON scalar: `null`, a Boolean, an integer of 64 bits, any other number, or a text.
using JSONScalar = std::variant<std::nullptr_t, bool, std::int64_t, double, std::string>;

/// The scalar as a text: "" for `null`, "true" and "false", decimal digits, `decimalText`, the text itself.
std::string textOf(const JSONScalar& scalar);

/// The shortest decimal text that reads back as the same finite number, in every locale: positional with
/// at least one digit after the point (2.5, 3.0, 0.0) for zero and for magnitudes from 0.0001 up to but not
/// including 2^53; otherwise exponential, with the exponent's sign and at least two exponent digits
/// (1e-05, 1.5e+20).
std::string decimalText(double number);

/// The integer that a number in JSON's notation stands for, exactly; none where it has a fraction or more
/// than 64 bits. 1e3 and 9223372036854775807.0 are integers.
std::optional<std::int64_t> exactInteger(std::string_view number);

}  // namespace corvane
