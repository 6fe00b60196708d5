#include "foundation/text/UUID.h"

#include <algorithm>
#include <boost/uuid/random_generator.hpp>
#include <boost/uuid/uuid_io.hpp>

namespace corvane {

std::string randomUUIDText() {
  std::string text = boost::uuids::to_string(boost::uuids::random_generator_pure()());
  std::ranges::transform(text, text.begin(),
                         [](char c) { return c >= 'a' && c <= 'f' ? static_cast<char>(c - 'a' + 'A') : c; });
  return text;
}

}  // namespace corvane
