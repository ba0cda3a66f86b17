#include "relay/RecordStore.h"

#include <algorithm>

namespace orvik::relay {

void Record::trim(const Limits& limits, std::int64_t unixNow) {
  const std::int64_t oldest =
      unixNow - std::chrono::duration_cast<std::chrono::seconds>(limits.keptAlertTime).count();
  std::erase_if(alerts, [oldest](const KeptAlert& alert) { return alert.keptAt <= oldest; });
  if (alerts.size() > limits.keptAlertsPerMac) {
    alerts.erase(alerts.begin(),
                 alerts.end() - static_cast<std::ptrdiff_t>(limits.keptAlertsPerMac));
  }
  const std::int64_t lastUse =
      unixNow - std::chrono::duration_cast<std::chrono::seconds>(limits.subscriptionTime).count();
  std::erase_if(subscriptions,
                [lastUse](const Subscription& each) { return each.usedAt <= lastUse; });
}

std::uint64_t firstNumber(std::int64_t unixSeconds) noexcept {
  constexpr std::int64_t perSecond = 100'000;
  // Half of what a double counts without gaps, whatever the clock says.
  constexpr std::int64_t latest = (std::int64_t{1} << 52) / perSecond;
  return static_cast<std::uint64_t>(std::clamp<std::int64_t>(unixSeconds, 0, latest) * perSecond +
                                    1);
}

void AnswerTimes::add(double seconds) noexcept {
  const auto place = std::ranges::lower_bound(bounds, seconds) - bounds.begin();
  ++counts[static_cast<std::size_t>(place)];
  totalSeconds += seconds;
}

std::string_view text(StoreState::Health health) noexcept {
  using enum StoreState::Health;
  switch (health) {
    case available:
      return "available";
    case opening:
      return "opening";
    case full:
      return "full";
    case readOnly:
      return "read_only";
    case locked:
      return "locked";
    case unknownFormat:
      return "unknown_format";
    case failing:
      return "failing";
  }
  return "failing";
}

}  // namespace orvik::relay
