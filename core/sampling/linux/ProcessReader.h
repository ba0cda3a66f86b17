#pragma once

#include <dirent.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/sampling/linux/CounterRate.h"
#include "core/sampling/linux/KernelText.h"
#include "core/system/linux/TextFile.h"
#include "core/values/CHandle.h"
#include "core/values/JSONValue.h"

namespace orvik {

/// The processes that keep the processor busy, this one left out.
class ProcessReader {
 public:
  /// Reads below `root`/proc, from the first call on.
  explicit ProcessReader(std::string root, MonotonicTime now = monotonicNow);

  /// At most 11, busiest first: arrays of per cent of one CPU since the reading before (1 decimal)
  /// and name (valid UTF-8, at most 34 characters). Nothing when that reading is more than 10 s
  /// ago or there is none: the next one has this to compare with.
  /// What began since then has used all of it since. Equally busy ones are in the order of what
  /// they have used in their lives. Where there are more than 256 processes, those that rest are
  /// looked at in turns, and one that has begun to work is seen some readings later. A reading less
  /// than half a second after another (0.4 s after one that gave nothing) gives the same again: too
  /// little is counted in it.
  [[nodiscard]] std::optional<JSONValue> read();

 private:
  struct Process {
    int pid;
    /// A process is its number and this: numbers are given again.
    std::uint64_t startedAt;
    std::uint64_t used;
    /// When that was.
    Instant at;
    /// Whether it has worked since it was looked at before, or is shown.
    bool isWatched;
  };
  struct Busy {
    double percent;
    std::uint64_t used;
    int pid;
    std::string name;
  };

  void readAll();
  [[nodiscard]] JSONValue entries() const;
  [[nodiscard]] const Process* find(int pid) const;
  [[nodiscard]] bool isDue(const Process& process) const;
  [[nodiscard]] std::optional<double> percentOf(const KernelText::ProcessTimes& times,
                                                const Process* before, Instant at) const;
  void consider(Busy process, std::string_view name);
  [[nodiscard]] std::string nameOf(const Busy& process) const;

  std::string folder;
  MonotonicTime now;
  CHandle<DIR, closedir> stream;
  double ticksPerSecond;
  /// Those that lived at the last reading, by number; `current` is being made from the next one.
  std::vector<Process> known;
  std::vector<Process> current;
  std::vector<Busy> busiest;
  /// When the newest process of the last reading was started, in ticks.
  std::uint64_t newest = 0;
  /// When that reading began, if it is one to compare with.
  std::optional<Instant> comparedAt;
  std::optional<Instant> readAt;
  std::size_t round = 0;
  std::optional<JSONValue> last;
};

}  // namespace orvik
