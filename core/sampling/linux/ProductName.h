#pragma once

#include <optional>
#include <string>

namespace orvik {

/// What a machine's firmware calls it, as it stands there; empty where it says nothing.
struct FirmwareNames {
  std::string systemVendor;
  std::string productName;
  std::string productVersion;
  std::string boardVendor;
  std::string boardName;
};

/// The name by which a person knows the machine, such as "Dell XPS 13 9310": the maker and the
/// product, or the main board where the maker of the machine left its fields as the board's maker
/// had filled them. Nothing when there is no name.
[[nodiscard]] std::optional<std::string> productName(const FirmwareNames& names);

/// The maker's own name of the model; nothing when there is none.
[[nodiscard]] std::optional<std::string> modelIdentifier(const FirmwareNames& names);

}  // namespace orvik
