#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "core/values/JSONValue.h"

namespace orvik {

/// What hardly changes about the machine.
class MachineInfoReader {
 public:
  /// Reads below `root`.
  explicit MachineInfoReader(std::string root) : root(std::move(root)) {}

  /// "product_name", "model_id", "chip", "p_cores", "e_cores", "p_max_mhz", "e_max_mhz", "ram_gb",
  /// "macos" (this system's name and version) and "icon_png"; without those that are not known.
  [[nodiscard]] JSONObject read() const;

 private:
  void addNames(JSONObject& info) const;
  void addChip(JSONObject& info) const;
  void addCores(JSONObject& info) const;
  std::optional<std::int64_t> memory() const;
  std::optional<std::string> systemName() const;

  std::string root;
};

/// The memory that is built in, in GiB, when the kernel has this many bytes of it at hand: what
/// firmware, graphics and the kernel keep for themselves is a few per cent, modules come in sizes
/// that are eighths of a power of two.
[[nodiscard]] std::int64_t builtInMemory(std::int64_t available);

}  // namespace orvik
