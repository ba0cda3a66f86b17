#include <gtest/gtest.h>

#include "core/sampling/linux/ProcessorReader.h"
#include "core/sampling/linux/SensorReader.h"
#include "tests/support/FixtureTree.h"

namespace orvik {
namespace {

using namespace std::chrono_literals;
using test::FixtureTree;

/// What changes before the reading that comes 4 s after the one before, and what that gives.
struct Step {
  std::vector<std::pair<const char*, const char*>> changes;
  std::string expected;
};

struct Machine {
  const char* tree;
  std::vector<Step> steps;
};

const std::string laptopMemory =
    R"("ram_pct":62.5,"ram_total_gb":15.3,"ram_used_gb":9.5,"swap_gb":1.0,)";
const std::string boardMemory =
    R"("pcpu_mhz":1800,"ram_pct":50.0,"ram_total_gb":2.0,"ram_used_gb":1.0,"swap_gb":0.0,)";
const std::string desktopMemory =
    R"("ram_pct":25.0,"ram_total_gb":32.0,"ram_used_gb":8.0,"swap_gb":0.0,)";

const Machine machines[] = {
    {"laptop",
     {{{},
       R"({"gpu_off":false,"pcpu_mhz":2400,)" + laptopMemory +
           R"("sys_power_w":11.0,"temp_cpu":52.5})"},
      // A CPU went off-line, the package's energy began again, one core's sensor glitched.
      {{{"proc/stat", "cpu  1060 200 540 7900 400 0 0 0 460 0\n"},
        {"sys/class/powercap/intel-rapl:0/energy_uj", "56671150\n"},
        {"sys/class/powercap/intel-rapl:0:1/energy_uj", "9000000\n"},
        {"sys/class/drm/card0/gt/gt0/rc6_residency_ms", "4003000\n"},
        {"sys/devices/system/cpu/cpu3/cpufreq/scaling_cur_freq", "<unknown>\n"},
        {"sys/class/hwmon/hwmon5/temp2_input", "150001\n"}},
       R"({"cpu_pct":50.0,"cpu_power_w":14.5,"gpu_off":false,"gpu_pct":25.0,"gpu_power_w":0.5,)"
       R"("pcpu_mhz":2200,"power_w":15.0,)" +
           laptopMemory + R"("sys_power_w":11.0,"temp_cpu":54.0})"},
      // On mains, nothing counted, and the energy set back to where it cannot have come from.
      {{{"sys/class/power_supply/BAT1/status", "Charging\n"},
        {"sys/class/powercap/intel-rapl:0/energy_uj", "100\n"},
        {"sys/class/drm/card0/gt/gt0/rc6_residency_ms", "0\n"}},
       R"({"cpu_pct":50.0,"gpu_off":false,"gpu_power_w":0.0,"pcpu_mhz":2200,)" + laptopMemory +
           R"("temp_cpu":54.0})"}}},
    {"server",
     {{{},
       R"({"pcpu_mhz":1800,"ram_pct":50.8,"ram_total_gb":64.0,"ram_used_gb":32.5,"swap_gb":0.0})"},
      // Counters from the start again, one package's energy out of reach, and no sense in a file.
      {{{"proc/stat", "cpu  10 0 10 80 0 0 0 0\n"},
        {"sys/class/powercap/intel-rapl:1/energy_uj", "9000000\n"},
        {"proc/meminfo", "MemTotal: kB\nMemFree 3\n\xff\n"}},
       R"({"pcpu_mhz":1800})"}}},
    {"board",
     {{{},
       R"({"ecpu_mhz":912,"gpu_off":false,)" + boardMemory + R"("temp_cpu":47.2,"temp_gpu":44.5})"},
      {{{"sys/class/thermal/thermal_zone1/temp", ""},
        {"sys/class/hwmon/hwmon0/temp1_input", "0\n"}},
       R"({"ecpu_mhz":912,"gpu_off":false,)" + boardMemory + R"("temp_cpu":40.0})"}}},
    {"desktop",
     {{{},
       R"({"ecpu_mhz":2500,"gpu_off":false,"gpu_pct":37.0,"gpu_power_w":35.5,"pcpu_mhz":4500,)" +
           desktopMemory + R"("temp_cpu":61.0,"temp_gpu":52.0})"},
      // One card is switched off: what its files say is not asked for.
      {{{"proc/stat", "cpu  130 0 100 870 0 0 0 0 0 0\n"},
        {"sys/class/powercap/intel-rapl:0/energy_uj", "81000000\n"},
        {"sys/class/powercap/intel-rapl:1/energy_uj", "321000000\n"},
        {"sys/class/drm/card1/device/tile0/gt0/gtidle/idle_residency_ms", "92000\n"},
        {"sys/class/hwmon/hwmon4/energy1_input", "25000000\n"},
        {"sys/class/hwmon/hwmon3/device/power/runtime_status", "suspended\n"}},
       R"({"cpu_pct":30.0,"cpu_power_w":20.0,"ecpu_mhz":2500,"gpu_off":false,"gpu_pct":50.0,)"
       R"("gpu_power_w":5.0,"pcpu_mhz":4500,"power_w":25.0,)" +
           desktopMemory + R"("sys_power_w":80.0,"temp_cpu":61.0,"temp_gpu":55.0})"},
      // All graphics are, and a counter of energy stands still.
      {{{"sys/class/drm/card1/device/power/runtime_status", "suspended\n"},
        {"sys/class/hwmon/hwmon4/device/power/runtime_status", "suspended\n"},
        {"sys/class/powercap/intel-rapl:0/energy_uj", "83000000\n"}},
       R"({"cpu_pct":30.0,"cpu_power_w":0.5,"ecpu_mhz":2500,"gpu_off":true,"gpu_pct":0.0,)"
       R"("gpu_power_w":0.0,"pcpu_mhz":4500,"power_w":0.5,)" +
           desktopMemory + R"("temp_cpu":61.0})"}}},
    {"container",
     {{{}, R"({"ram_pct":25.0,"ram_total_gb":4.0,"ram_used_gb":1.0,"swap_gb":0.0})"},
      {{{"proc/stat", "cpu  200 0 100 800 0 0 0 0 0 0\n"}, {"proc/meminfo", ""}},
       R"({"cpu_pct":100.0})"}}}};

TEST(ProcessorAndSensors, GiveWhatEachMachineHas) {
  for (const Machine& machine : machines) {
    const FixtureTree tree{machine.tree};
    Instant now(1h);
    ProcessorReader processor(tree.root(), [&] { return now; });
    SensorReader sensors(tree.root(), [&] { return now; });
    for (const Step& step : machine.steps) {
      for (const auto& [file, content] : step.changes) {
        tree.write(file, content);
      }
      JSONObject keys = processor.read();
      keys.merge(sensors.read());
      EXPECT_EQ(JSONValue(keys).text(), step.expected) << machine.tree;
      now += 4s;
    }
  }
}

TEST(ProcessorAndSensors, KeepReadingsOfCountersApart) {
  const FixtureTree tree{};
  Instant now(1h);
  ProcessorReader processor(tree.root(), [&] { return now; });
  Clock::Duration untilCounter = 0s;
  bool isAtCounter = false;
  SensorReader sensors(tree.root(),
                       [&] { return std::exchange(isAtCounter, true) ? now + untilCounter : now; });
  tree.write("sys/class/powercap/intel-rapl:0/name", "package-0\n");
  const auto expected = [](const char* use, const char* watts) {
    return std::string(R"({"cpu_pct":)") + use + R"(,"cpu_power_w":)" + watts + R"(,"power_w":)" +
           watts + "}";
  };
  const struct {
    Clock::Duration later;
    Clock::Duration untilCounter;
    const char* ticks;
    const char* microjoules;
    std::string expected;
  } timeline[] = {
      {0ms, 0ms, "0 0 0 0", "0", "{}"},
      {399ms, 0ms, "20 0 0 20", "4000000", "{}"},
      {1ms, 0ms, "20 0 0 20", "4000000", expected("50.0", "10.0")},
      {499ms, 0ms, "90 0 0 20", "9000000", expected("50.0", "10.0")},
      // A sensor before it took half a second: the energy is that of a whole one.
      {1ms, 500ms, "60 0 0 80", "10000000", expected("40.0", "6.0")},
  };
  for (const auto& step : timeline) {
    now += step.later;
    untilCounter = step.untilCounter;
    isAtCounter = false;
    tree.write("proc/stat", std::string("cpu  ") + step.ticks + "\n");
    tree.write("sys/class/powercap/intel-rapl:0/energy_uj", step.microjoules);
    JSONObject keys = processor.read();
    keys.merge(sensors.read());
    EXPECT_EQ(JSONValue(keys).text(), step.expected);
  }
}

TEST(SensorReader, BoardsNameTheirZonesFreely) {
  const FixtureTree tree{};
  const std::pair<const char*, const char*> zones[] = {
      {"GPU-therm", "40000"}, {"gpuss-1-thermal", "50000"}, {"imx_thermal_zone", "60000"},
      {"gpu", "1000"},        {"wifi-thermal", "1000"},
  };
  for (std::size_t number = 0; const auto& [type, temperature] : zones) {
    const std::string folder = "sys/class/thermal/thermal_zone" + std::to_string(number++) + "/";
    tree.write(folder + "type", type);
    tree.write(folder + "temp", temperature);
  }
  EXPECT_EQ(JSONValue(SensorReader(tree.root()).read()).text(),
            R"({"gpu_off":false,"temp_cpu":60.0,"temp_gpu":45.0})");
}

TEST(SensorReader, ChipsWithGraphicsTellTheirPowerUntilTheyGlitchOrLeave) {
  const FixtureTree tree{};
  const std::string folder = "sys/class/hwmon/hwmon4/";
  tree.write(folder + "name", "amdgpu\n");
  tree.write(folder + "in1_label", "vddnb\n");
  tree.write(folder + "power1_input", "12000000\n");
  tree.write(folder + "temp1_input", "45000\n");
  Instant now(1h);
  SensorReader reader(tree.root(), [&] { return now; });
  const auto read = [&](Clock::Duration later) {
    now += later;
    return JSONValue(reader.read()).text();
  };
  const std::string calm = R"({"gpu_off":false,"power_w":12.0,"temp_gpu":45.0})";
  for (int count = 0; count < 6; ++count) {
    EXPECT_EQ(read(2s), calm);
  }
  tree.write(folder + "power1_input", "655350000\n");
  EXPECT_EQ(read(2s), calm);
  tree.write(folder + "power1_input", "13000000\n");
  EXPECT_EQ(read(2s), R"({"gpu_off":false,"power_w":13.0,"temp_gpu":45.0})");

  // The driver was loaded anew: the same sensor under another number, seen within half a minute.
  tree.remove(folder);
  tree.write("sys/class/hwmon/hwmon9/name", "k10temp\n");
  tree.write("sys/class/hwmon/hwmon9/temp1_input", "70000\n");
  tree.write("sys/class/hwmon/hwmon9/temp1_label", "Tctl\n");
  tree.write("sys/class/hwmon/hwmon9/temp2_input", "43000\n");
  tree.write("sys/class/hwmon/hwmon9/temp2_label", "Tdie\n");
  EXPECT_EQ(read(30s), R"({"temp_cpu":43.0})");
}

TEST(CounterRate, BelievesNothingThatItCannotKnow) {
  constexpr double fastest = 1000;
  constexpr std::int64_t range = 10'000;
  const struct {
    Clock::Duration later;
    std::int64_t value;
    std::optional<double> expected;
  } timeline[] = {
      {0s, 9'000, {}},    {1s, 9'500, 500}, {2s, 500, 500},  {0s, 600, {}},
      {1s, 1'600, 1'000}, {1s, 2'601, {}},  {10s, 0, 739.9}, {120s, 600, 5},
      {121s, 700, {}},    {1s, -1, {}},     {1s, 700, 0},
  };
  CounterRate rate(fastest);
  Instant now(1h);
  for (const auto& [later, value, expected] : timeline) {
    now += later;
    EXPECT_EQ(rate.update(now, value, range), expected) << value;
  }
  CounterRate endless(fastest);
  (void)endless.update(now, 100, 0);
  EXPECT_FALSE(endless.update(now + 1s, 50, 0));
}

}  // namespace
}  // namespace orvik
