#pragma once

#include <cstdlib>
#include <optional>
#include <string>

namespace orvik::test {

/// While this lives, an environment variable has another value, or none.
class Environment {
 public:
  Environment(const char* name, const std::optional<std::string>& value) : name(name) {
    if (const char* const found = std::getenv(name)) {
      former = found;
    }
    set(value);
  }
  Environment(const Environment&) = delete;
  Environment& operator=(const Environment&) = delete;
  ~Environment() { set(former); }

 private:
  void set(const std::optional<std::string>& value) const {
    value ? setenv(name, value->c_str(), 1) : unsetenv(name);
  }

  const char* name;
  std::optional<std::string> former;
};

}  // namespace orvik::test
