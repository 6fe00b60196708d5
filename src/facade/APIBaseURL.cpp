#include "foundation/APIBaseURL.h"

namespace corvane {

std::string defaultAPIBaseURL() {
  return CORVANE_API_BASE_URL;
}

}  // namespace corvane
