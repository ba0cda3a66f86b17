#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "core/sampling/linux/CoreTypes.h"
#include "core/system/linux/TextFile.h"

namespace orvik {

/// How fast the cores run now.
class CoreFrequencies {
 public:
  /// MHz, the mean over the cores of a kind.
  struct Reading {
    std::optional<std::int64_t> performance;
    std::optional<std::int64_t> efficiency;
  };

  explicit CoreFrequencies(std::string root);

  /// Looks which CPUs there are now. Before it, there are none.
  void rescan();
  /// CPUs that are off-line are left out. Where the kernel does not scale frequencies, the
  /// processor's description tells one for all.
  [[nodiscard]] Reading read();

 private:
  std::string root;
  TextFile description;
  CoreTypes types;
  std::vector<TextFile> performance;
  std::vector<TextFile> efficiency;
};

}  // namespace orvik
