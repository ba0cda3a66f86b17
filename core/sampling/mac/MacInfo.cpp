#include "core/sampling/mac/MacInfo.h"

#include <algorithm>
#include <cmath>

#include "core/sampling/mac/MacInfoParsing.h"
#include "core/values/Base64.h"
#include "core/values/JSONMembers.h"

namespace orvik {

namespace {

/// More levels than any processor has: what the system counts is not to keep us busy.
constexpr std::int64_t mostLevels = 8;

/// The last line that is not empty.
std::string lastLine(std::string_view text) {
  const std::size_t end = text.find_last_not_of('\n');
  if (end == std::string_view::npos) {
    return {};
  }
  const std::size_t lineBreak = text.find_last_of('\n', end);
  const std::size_t begin = lineBreak == std::string_view::npos ? 0 : lineBreak + 1;
  return std::string(text.substr(begin, end + 1 - begin));
}

std::optional<std::int64_t> wholeGibibytes(std::optional<std::int64_t> bytes) {
  if (!bytes) {
    return std::nullopt;
  }
  return static_cast<std::int64_t>(std::round(std::ldexp(static_cast<double>(*bytes), -30)));
}

}  // namespace

MacInfo::MacInfo(std::shared_ptr<MacSystem> system, std::shared_ptr<CommandRunner> commands,
                 std::shared_ptr<const MacmonReader> macmon)
    : system(std::move(system)), commands(std::move(commands)), macmon(std::move(macmon)) {}

asio::awaitable<JSONObject> MacInfo::read() {
  JSONObject info;
  if (const auto name = system->productName()) {
    setIfPresent(info, "product_name", MacInfoParsing::deviceTreeString(*name));
  }
  setIfPresent(info, "model_id", system->sysctlString("hw.model"));
  setIfPresent(info, "chip", system->sysctlString("machdep.cpu.brand_string"));
  setCores(info);

  const MacInfoParsing::Frequencies frequencies = MacInfoParsing::maxMHz(co_await socLine());
  setIfPresent(info, "p_max_mhz", frequencies.performance);
  setIfPresent(info, "e_max_mhz", frequencies.efficiency);

  setIfPresent(info, "ram_gb", wholeGibibytes(system->sysctlInt("hw.memsize")));
  if (const auto version = system->version()) {
    info.set("macos", MacInfoParsing::version(version->major, version->minor, version->patch));
  }
  if (const auto icon = system->iconPNG()) {
    info.set("icon_png", base64(bytesOf(*icon)));
  }
  co_return info;
}

void MacInfo::setCores(JSONObject& info) {
  const std::int64_t count = system->sysctlInt("hw.nperflevels").value_or(0);
  std::vector<MacInfoParsing::PerformanceLevel> levels;
  for (std::int64_t i = 0; i < std::min(count, mostLevels); ++i) {
    const std::string level = "hw.perflevel" + std::to_string(i);
    if (const auto physical = system->sysctlInt(level + ".physicalcpu")) {
      levels.push_back({system->sysctlString(level + ".name").value_or(""), *physical});
    }
  }
  // Without one of the levels the sums would say that it has no processors.
  if (!levels.empty() && std::ssize(levels) == std::min(count, mostLevels)) {
    const MacInfoParsing::Cores cores = MacInfoParsing::cores(levels);
    info.set("p_cores", cores.performance);
    info.set("e_cores", cores.efficiency);
  }
}

asio::awaitable<std::string> MacInfo::socLine() {
  const auto tool = macmon->locate();
  if (!tool) {
    co_return std::string();
  }
  std::vector<std::string> arguments = {"pipe", "-s", "1", "-i", "200", "--soc-info"};
  const std::string output =
      co_await commands->run(tool->string(), std::move(arguments), CommandRunner::Seconds(10));
  co_return lastLine(output);
}

}  // namespace orvik
