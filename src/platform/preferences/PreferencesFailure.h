#pragma once

#include <stdexcept>
#include <string>

namespace corvane::platform {

/// Why one access to a preferences file did not happen. Stays inside `PreferencesDatabase`, which turns it
/// into a result: no store operation throws.
class PreferencesFailure : public std::runtime_error {
 public:
  enum class Kind {
    busy,        ///< another process holds the file, and did so for the whole wait
    unreadable,  ///< the file is not a database, is damaged, or is ours without our table
    foreign,     ///< a sound database, but not ours to touch
    unusable,    ///< anything else: a full disk, a read-only place, …
  };

  PreferencesFailure(Kind why, const std::string& reason) : std::runtime_error(reason), kind(why) {}

  Kind kind;
};

}  // namespace corvane::platform
