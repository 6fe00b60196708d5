#include "model/JSONWriter.h"

namespace corvane::json {

std::string write(const Value& value) {
  try {
    return value.dump();
  } catch (const Value::exception&) {
    throw EncodingFailure("a text is not valid UTF-8");
  }
}

}  // namespace corvane::json
