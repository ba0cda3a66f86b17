#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace orvik {

/// The processor's CPUs (as the kernel numbers them) by the kind of core that they are.
struct CoreTypes {
  /// All CPUs of a machine that has one kind of core.
  std::vector<int> performance;
  std::vector<int> efficiency;

  bool operator==(const CoreTypes&) const = default;
};

/// Reads the kinds below `root`: hybrid machines list the CPUs of each kind, and what is in
/// neither list is an efficiency core of a lesser kind; elsewhere the CPUs have capacities, and
/// those with less than two thirds of the largest one are efficiency cores (little cores have half
/// of a big one's or less, middle ones 70 % and more).
[[nodiscard]] CoreTypes readCoreTypes(const std::string& root);

/// The numbers of a kernel's list such as "0-3,8"; up to where it is none, in ascending order.
[[nodiscard]] std::vector<int> parseCPUList(std::string_view text);

}  // namespace orvik
