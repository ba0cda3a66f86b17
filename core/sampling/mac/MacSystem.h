#pragma once

#include <boost/asio/awaitable.hpp>

#include <cstdint>
#include <optional>
#include <string>

namespace orvik {

namespace asio = boost::asio;

/// What only the Mac's own system calls tell. None fails: what cannot be read is absent. All but
/// the capacities come without waiting, on any thread.
class MacSystem {
 public:
  struct Capacity {
    /// Bytes.
    std::int64_t total = 0;
    /// What the system would free for something important, and what is free as it stands.
    std::optional<std::int64_t> forImportantUsage;
    std::optional<std::int64_t> available;
  };
  struct Version {
    std::int64_t major;
    std::int64_t minor;
    std::int64_t patch;
  };

  virtual ~MacSystem() = default;

  /// When the machine was started, whole seconds since 1970; 0 when unknown.
  [[nodiscard]] virtual std::int64_t bootEpoch() = 0;
  /// The volume that holds the users' data. A service of the system adds up what could be freed:
  /// it may take its time, but not more than a few seconds, and the caller's executor goes on.
  virtual asio::awaitable<std::optional<Capacity>> dataVolume() = 0;
  [[nodiscard]] virtual std::optional<std::string> sysctlString(const std::string& name) = 0;
  [[nodiscard]] virtual std::optional<std::int64_t> sysctlInt(const std::string& name) = 0;
  /// The bytes of the product's name in the device tree.
  [[nodiscard]] virtual std::optional<std::string> productName() = 0;
  [[nodiscard]] virtual std::optional<Version> version() = 0;
  /// The system's picture of a computer: a PNG of 128 x 128 pixels.
  [[nodiscard]] virtual std::optional<std::string> iconPNG() = 0;
};

}  // namespace orvik
