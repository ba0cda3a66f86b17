#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace orvik {

/// One domain of the user's preferences: bytes under keys, kept between runs. Not to be used
/// concurrently.
class UserDefaults {
 public:
  virtual ~UserDefaults() = default;

  /// The bytes under a key. Nothing when there are none or they cannot be read.
  [[nodiscard]] virtual std::optional<std::string> data(std::string_view key) const = 0;

  /// Whether what is stored can be read: also when there is nothing, not when it is damaged.
  [[nodiscard]] virtual bool isReadable() const { return true; }

  /// Stores bytes under a key (valid UTF-8) and leaves the other keys as they are. After a crash or
  /// a failure, either the old bytes or the new ones are there; false when it failed.
  [[nodiscard]] virtual bool set(std::string_view key, std::string_view bytes) = 0;
};

/// Opens a domain: the suite of this name, or the application's own when there is no name. Null
/// when there can be no such suite; the application's own domain always opens.
[[nodiscard]] std::unique_ptr<UserDefaults> openUserDefaults(
    const std::optional<std::string>& suite);

using UserDefaultsOpener =
    std::function<std::unique_ptr<UserDefaults>(const std::optional<std::string>& suite)>;

}  // namespace orvik
