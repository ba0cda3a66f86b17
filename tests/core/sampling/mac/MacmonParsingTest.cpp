#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <regex>

#include "core/sampling/mac/MacmonParsing.h"
#include "core/values/JSONReader.h"
#include "tests/support/Corpus.h"

namespace orvik {
namespace {

std::string keysOf(const std::string& line) {
  PowerGuard guard;
  const UntypedValue value = readJSON(line);
  return JSONValue(SamplerParsing::macmon(*value.get<UntypedValue::Map>(), guard)).text();
}

/// The keys of a line that says nothing, but for those given.
std::string zerosBut(std::initializer_list<std::pair<std::string_view, JSONValue>> others) {
  JSONObject keys{{"cpu_pct", 0.0},     {"cpu_power_w", 0.0},  {"ecpu_mhz", 0},
                  {"gpu_off", true},    {"gpu_pct", 0.0},      {"gpu_power_w", 0.0},
                  {"pcpu_mhz", 0},      {"power_w", 0.0},      {"ram_pct", 0.0},
                  {"ram_used_gb", 0.0}, {"ram_total_gb", 0.0}, {"swap_gb", 0.0},
                  {"sys_power_w", 0.0}, {"temp_cpu", 0.0},     {"temp_gpu", 0.0}};
  keys.merge(JSONObject(others));
  return JSONValue(keys).text();
}

TEST(Macmon, ReadsEveryVersionsNamesAndNothingElse) {
  const struct {
    const char* line;
    std::string keys;
  } cases[] = {
      {"{}", zerosBut({})},
      {R"({"cpu_usage_pct":0.5,"cpu_usage_ratio":0.1})", zerosBut({{"cpu_pct", 50.0}})},
      {R"({"cpu_usage_pct":null,"cpu_usage_ratio":0.25})", zerosBut({{"cpu_pct", 25.0}})},
      {R"({"cpu_scaled_ratio":1})", zerosBut({{"cpu_pct", 100.0}})},
      {R"({"cpu_active_ratio":1,"gpu_active_ratio":1})", zerosBut({})},
      // Frequencies stay the number that they are; a pair counts before the newer members.
      {R"({"ecpu_usage":[1000,0.5],"ecpu_freq_mhz":9,"pcpu_usage":[2000.5,1]})",
       zerosBut({{"ecpu_mhz", 1000}, {"pcpu_mhz", 2000.5}})},
      {R"({"ecpu_usage":[1000],"pcpu_usage":7,"gpu_usage":[1]})", zerosBut({})},
      {R"({"ecpu_usage":[true,1],"pcpu_usage":["1",1],"gpu_usage":[1,null]})", zerosBut({})},
      {R"({"ecpu_freq_mhz":1100,"pcpu_freq_mhz":1e9,"gpu_scaled_ratio":0.125})",
       zerosBut({{"ecpu_mhz", 1100}, {"pcpu_mhz", 1e9}, {"gpu_pct", 12.5}})},
      {R"({"temp":{"gpu_temp_avg":9.99,"cpu_temp_avg":-3}})",
       zerosBut({{"temp_gpu", 10.0}, {"temp_cpu", -3.0}})},
      {R"({"temp":{"gpu_temp_avg":10}})", zerosBut({{"temp_gpu", 10.0}, {"gpu_off", false}})},
      {R"({"temp":[1],"memory":"x","all_power":"1","cpu_power":true})", zerosBut({})},
      {R"({"memory":{"ram_total":2147483648,"ram_usage":1073741824,"swap_usage":5368710}})",
       zerosBut(
           {{"ram_pct", 50.0}, {"ram_used_gb", 1.0}, {"ram_total_gb", 2.0}, {"swap_gb", 0.01}})},
      {R"({"memory":{"ram_usage":0.5}})", zerosBut({{"ram_pct", 50.0}})},
      {R"({"all_power":1e999,"cpu_power":-1e999,"ecpu_freq_mhz":1e999})", zerosBut({})},
      {R"({"memory":{"ram_usage":1e308}})",
       zerosBut({{"ram_pct", nullptr}, {"ram_used_gb", std::ldexp(1e308, -30)}})},
  };
  for (const auto& [line, keys] : cases) {
    EXPECT_EQ(keysOf(line), keys) << line;
  }
}

#ifdef ORVIK_HAS_CORPUS
TEST(Macmon, ReadsTheRecordings) {
  const std::string readme =
      R"("cpu_power_w":0.2,"ecpu_mhz":1181,"gpu_off":false,"gpu_pct":2.1,"gpu_power_w":0.02,)"
      R"("pcpu_mhz":1974,"power_w":0.22,"ram_pct":81.4,"ram_total_gb":24.0,"ram_used_gb":19.5,)"
      R"("swap_gb":2.42,"sys_power_w":5.88,"temp_cpu":43.7,"temp_gpu":37.0})";
  const std::string otherFrequencies = std::regex_replace(
      std::regex_replace(readme, std::regex("1181"), "1100"), std::regex("1974"), "1800");
  const struct {
    const char* file;
    std::string keys;
  } cases[] = {
      {"pipe-v0.7-m4-line-rounded.jsonl",
       R"({"cpu_pct":99.5,"cpu_power_w":14.02,"ecpu_mhz":2892,"gpu_off":false,"gpu_pct":1.0,)"
       R"("gpu_power_w":0.03,"pcpu_mhz":4424,"power_w":14.05,"ram_pct":82.9,"ram_total_gb":16.0,)"
       R"("ram_used_gb":13.3,"swap_gb":16.88,"sys_power_w":35.68,"temp_cpu":82.9,"temp_gpu":73.5})"},
      {"pipe-v0.8.1-m5max-fans-percore-aliases.json",
       R"({"cpu_pct":12.5,"cpu_power_w":10.17,"ecpu_mhz":1344,"gpu_off":false,"gpu_pct":2.1,)"
       R"("gpu_power_w":0.03,"pcpu_mhz":4608,"power_w":10.2,"ram_pct":25.5,"ram_total_gb":48.0,)"
       R"("ram_used_gb":12.2,"swap_gb":0.0,"sys_power_w":20.02,"temp_cpu":52.2,"temp_gpu":48.6})"},
      {"readme-v0.6-2025-02.jsonc.txt", R"({"cpu_pct":0.0,)" + readme},
      {"readme-dev-2026-06-fans-percore.jsonc.txt", R"({"cpu_pct":3.7,)" + readme},
      {"readme-v0.8.0-2026-07-usage_ratio.jsonc.txt", R"({"cpu_pct":3.7,)" + readme},
      {"readme-v0.8.1-2026-07-scaled_ratio.jsonc.txt", R"({"cpu_pct":3.7,)" + otherFrequencies},
  };
  const std::filesystem::path folder = test::corpus() / "recorded/macmon";
  for (const auto& [file, keys] : cases) {
    std::string text = test::contentsOf(folder / file);
    if (std::string_view(file).ends_with(".txt")) {
      // Documentation: commented, and with commas at the ends of lists.
      EXPECT_THROW(static_cast<void>(readJSON(text)), JSONError) << file;
      text = std::regex_replace(text, std::regex("//[^\n]*"), "");
      text = std::regex_replace(text, std::regex(",(\\s*[}\\]])"), "$1");
    }
    EXPECT_EQ(keysOf(text), keys) << file;
  }
  const std::string cut =
      test::contentsOf(folder / "issue51-m4air-soc-info-zero-cores.partial.txt");
  EXPECT_THROW(static_cast<void>(readJSON(cut)), JSONError);
}
#endif

TEST(PowerGuard, ReplacesASpikeByTheLastGoodReading) {
  constexpr double infinity = std::numeric_limits<double>::infinity();
  const struct {
    std::size_t count;
    double before;
    double value;
    double expected;
  } cases[] = {
      {5, 3, 100, 100},         // too few to judge
      {6, 3, 100, 3},           // a spike
      {6, 0.5, 41, 0.5},        // from idle
      {6, 0.5, 39, 39},         // harmless
      {6, 3, 40, 40},           // not above
      {6, 3, 40.01, 3},         // above
      {6, 12, 48, 48},          // four times the median is no spike
      {6, 12, 48.01, 12},       // above that is
      {0, 0, infinity, 0},      // nothing good yet
      {6, 3, -infinity, 3},     //
      {6, 3, std::nan(""), 3},  //
      {300, 3, 100, 3},
  };
  for (const auto& [count, before, value, expected] : cases) {
    PowerGuard guard;
    for (std::size_t reading = 0; reading < count; ++reading) {
      EXPECT_EQ(guard.clean("all", before), before);
    }
    EXPECT_EQ(guard.clean("all", value), expected) << count << " times " << before << ", " << value;
    EXPECT_EQ(guard.clean("cpu", 100), 100) << "kinds have their own histories";
  }
}

TEST(PowerGuard, BelievesALoadThatLasts) {
  PowerGuard guard;
  std::vector<double> reported;
  const auto report = [&](double value, int times) {
    for (int reading = 0; reading < times; ++reading) {
      reported.push_back(guard.clean("sys", value));
    }
  };
  report(3, 30);
  // Suppressed until the upper median of the last 30 is the load itself: from its 15th reading on.
  report(100, 15);
  EXPECT_EQ(std::count(reported.begin(), reported.end(), 3.0), 44);
  EXPECT_EQ(reported.back(), 100.0);
  // What is not a number leaves the history and the last good reading as they are.
  report(std::nan(""), 40);
  EXPECT_EQ(reported.back(), 100.0);
}

}  // namespace
}  // namespace orvik
