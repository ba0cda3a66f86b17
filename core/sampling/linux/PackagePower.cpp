#include "core/sampling/linux/PackagePower.h"

#include <algorithm>
#include <utility>

namespace orvik {

namespace {

/// Microwatts: more than a package draws, less than what a counter that was set back looks like.
constexpr double most = 2e9;

}  // namespace

void PackagePower::rescan() {
  const std::string parent = root + "/sys/class/powercap";
  auto present = namesIn(parent);
  if (present == found) {
    return;
  }
  found = std::move(present);
  domains.clear();
  for (const std::string& name : found) {
    // The same counters are there a second time as intel-rapl-mmio.
    if (!name.starts_with("intel-rapl:")) {
      continue;
    }
    const std::string folder = pathIn(parent, name);
    const std::string domain = readLine(folder + "/name");
    std::optional<double> Watts::*kind = nullptr;
    if (domain.starts_with("package")) {
      kind = &Watts::packages;
    } else if (domain == "uncore") {
      kind = &Watts::graphics;
    } else if (domain == "psys") {
      kind = &Watts::machine;
    } else {
      continue;
    }
    domains.push_back({.kind = kind,
                       .energy = TextFile(folder + "/energy_uj"),
                       .range = TextFile(folder + "/max_energy_range_uj").readInteger().value_or(0),
                       .rate = CounterRate(most)});
  }
}

PackagePower::Watts PackagePower::read(const MonotonicTime& now) {
  Watts watts;
  Watts failed;
  for (Domain& domain : domains) {
    const auto energy = domain.energy.readInteger();
    const auto rate =
        energy ? domain.rate.update(now(), *energy, domain.range) : std::optional<double>();
    // Named, since GCC 12 would take the member of a copy.
    Watts& group = rate ? watts : failed;
    std::optional<double>& sum = group.*domain.kind;
    sum = sum.value_or(0) + rate.value_or(0) / 1e6;
  }
  for (const auto kind : {&Watts::packages, &Watts::graphics, &Watts::machine}) {
    // A sum that lacks a part is none. Graphics may rest; what runs this program draws something,
    // and a counter that stands still is broken.
    if (failed.*kind || (kind != &Watts::graphics && watts.*kind == 0.0)) {
      (watts.*kind).reset();
    }
  }
  return watts;
}

}  // namespace orvik
