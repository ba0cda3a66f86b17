#include "core/sampling/BasicSampleSource.h"

#include <unicode/udat.h>
#include <unicode/unistr.h>

#include <array>
#include <cmath>

#include "core/values/JSONValue.h"

namespace orvik {

namespace {

/// The local time of day as the user's locale writes its digits.
std::string localClockText(Clock::UnixTime now) {
  const icu::UnicodeString pattern = u"HH:mm:ss";
  UErrorCode status = U_ZERO_ERROR;
  const icu::LocalUDateFormatPointer format(udat_open(UDAT_PATTERN, UDAT_PATTERN, nullptr, nullptr,
                                                      -1, pattern.getBuffer(), pattern.length(),
                                                      &status));
  std::array<UChar, 64> buffer{};
  const auto milliseconds = static_cast<UDate>(epochMilliseconds(now));
  const std::int32_t length =
      udat_format(format.getAlias(), milliseconds, buffer.data(),
                  static_cast<std::int32_t>(buffer.size()), nullptr, &status);
  std::string text;
  if (U_SUCCESS(status)) {
    icu::UnicodeString(buffer.data(), length).toUTF8String(text);
  }
  return text;
}

}  // namespace

BasicSampleSource::BasicSampleSource(std::shared_ptr<Clock> clock) : clock(std::move(clock)) {}

asio::awaitable<std::string> BasicSampleSource::sample() {
  co_return text(clock->unixNow(), readMachineLoad());
}

std::string BasicSampleSource::text(Clock::UnixTime now, const MachineLoad& load) {
  JSONValue::Array averages;
  for (const double average : load.loadAverages) {
    averages.emplace_back(std::round(average * 100) / 100);
  }
  return JSONValue(JSONObject{{"ts", localClockText(now)},
                              {"epoch", epochSeconds(now)},
                              {"epoch_ms", epochMilliseconds(now)},
                              {"load", std::move(averages)},
                              {"uptime_h", std::round(load.uptime / 360) / 10}})
      .text();
}

}  // namespace orvik
