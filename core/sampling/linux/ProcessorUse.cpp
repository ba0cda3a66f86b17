#include "core/sampling/linux/ProcessorUse.h"

#include <utility>

namespace orvik {

std::optional<double> ProcessorUse::update(const KernelText::ProcessorTimes& now) {
  const auto before = std::exchange(previous, now);
  if (!before) {
    return std::nullopt;
  }
  using Times = KernelText::ProcessorTimes;
  const auto spent = [&](std::uint64_t Times::*field) {
    return now.*field > (*before).*field ? static_cast<double>(now.*field - (*before).*field) : 0.0;
  };
  const double busy = spent(&Times::user) + spent(&Times::nice) + spent(&Times::system) +
                      spent(&Times::interrupts) + spent(&Times::softInterrupts) +
                      spent(&Times::stolen);
  const double counted = busy + spent(&Times::idle) + spent(&Times::waiting);
  if (counted > 0) {
    last = 100 * busy / counted;
  }
  return last;
}

}  // namespace orvik
