#pragma once

#include <optional>
#include <string>
#include <vector>

#include "core/sampling/linux/CounterRate.h"
#include "core/system/linux/TextFile.h"

namespace orvik {

/// What the processor draws, from its own energy counters. Systems that let only the administrator
/// read them have none.
class PackagePower {
 public:
  /// Means over the time since the reading before, in watts.
  struct Watts {
    /// All processor packages, graphics on them included.
    std::optional<double> packages;
    /// The graphics on them.
    std::optional<double> graphics;
    /// The whole machine.
    std::optional<double> machine;
  };

  explicit PackagePower(std::string root) : root(std::move(root)) {}

  /// Looks which counters there are now. Before it, there are none.
  void rescan();
  [[nodiscard]] Watts read(const MonotonicTime& now);

 private:
  struct Domain {
    std::optional<double> Watts::*kind;
    TextFile energy;
    std::int64_t range;
    CounterRate rate;
  };

  std::string root;
  std::vector<std::string> found;
  std::vector<Domain> domains;
};

}  // namespace orvik
