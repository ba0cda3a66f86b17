#include <gmock/gmock.h>
#include <signal.h>
#include <sys/sysinfo.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <fstream>

#include "core/platform/linux/BatteryReader.h"
#include "core/platform/linux/DiskReader.h"
#include "core/platform/linux/ProcessReader.h"
#include "core/platform/linux/ProcessorReader.h"

// This machine, whichever it is, beside what the system's other ways say of it.

namespace orvik {
namespace {

using namespace std::chrono_literals;

/// A process of this program's name that does nothing but keep one CPU busy.
class BusyProcess {
 public:
  BusyProcess() : pid(fork()) {
    if (pid == 0) {
      for (std::atomic<unsigned> count = 0;; ++count) {
      }
    }
  }
  BusyProcess(const BusyProcess&) = delete;
  BusyProcess& operator=(const BusyProcess&) = delete;
  ~BusyProcess() {
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
  }

 private:
  pid_t pid;
};

double number(const JSONObject& keys, const char* key) {
  const JSONValue* const value = keys.find(key);
  EXPECT_NE(value, nullptr) << key;
  return value != nullptr ? *value->get<double>() : 0;
}

TEST(LiveReaders, UseMemoryAndProcesses) {
  std::string ownName;
  std::getline(std::ifstream("/proc/self/comm"), ownName);
  ProcessorReader processor("/");
  ProcessReader processes("/");
  const BusyProcess busy;
  (void)processor.read();
  // What is read is over when it was seen at work; how long that takes is the machine's affair.
  const Instant deadline = monotonicNow() + 60s;
  JSONValue seen;
  while (monotonicNow() < deadline && seen.text().find('"' + ownName + '"') == std::string::npos) {
    seen = processes.read().value_or(JSONValue());
  }
  JSONObject keys = processor.read();
  while (monotonicNow() < deadline && keys.find("cpu_pct") == nullptr) {
    keys = processor.read();
  }
  EXPECT_THAT(seen.text(), testing::HasSubstr('"' + ownName + '"'));
  EXPECT_GT(number(keys, "cpu_pct"), 0);
  EXPECT_LE(number(keys, "cpu_pct"), 100);

  struct sysinfo system {};
  ASSERT_EQ(sysinfo(&system), 0);
  const auto gibibytes = [&](unsigned long units) {
    return static_cast<double>(units) * system.mem_unit / (1 << 30);
  };
  EXPECT_NEAR(number(keys, "ram_total_gb"), gibibytes(system.totalram), 0.051);
  EXPECT_GT(number(keys, "ram_used_gb"), 0);
  // The kernel keeps a little of what is free for itself.
  EXPECT_LT(number(keys, "ram_used_gb"),
            gibibytes(system.totalram - system.freeram) + 0.5 + gibibytes(system.totalram) / 50);
  EXPECT_NEAR(number(keys, "swap_gb"), gibibytes(system.totalswap - system.freeswap), 0.25);
}

TEST(LiveReaders, DiskAndBattery) {
  const std::filesystem::path folder = std::filesystem::temp_directory_path();
  const std::filesystem::space_info space = std::filesystem::space(folder);
  const auto used = static_cast<double>(space.capacity - space.free);
  const auto free = static_cast<double>(space.available);
  const JSONObject disk = DiskReader(folder).read();
  EXPECT_NEAR(number(disk, "disk_pct"), 100 * used / (used + free), 0.5);
  EXPECT_NEAR(static_cast<double>(*disk.find("disk_free_gb")->get<std::int64_t>()), free / 1e9, 2);
  EXPECT_TRUE(DiskReader("/no such folder").read().find("disk_pct"));

  const JSONObject battery = BatteryReader("/").battery(SystemClock().now());
  EXPECT_EQ(battery.size(), 4U);
  EXPECT_TRUE(battery.find("on_ac")->is<bool>());
}

}  // namespace
}  // namespace orvik
