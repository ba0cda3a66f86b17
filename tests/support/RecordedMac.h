#pragma once

#include <cmath>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>

#include "core/async/Clock.h"
#include "core/async/Notifier.h"
#include "core/sampling/mac/CommandRunner.h"
#include "core/sampling/mac/LineProcess.h"
#include "core/sampling/mac/MacSystem.h"

// A whole Mac, as recorded.

namespace orvik::test {

/// Answers with the output that a file of tests/fixtures/mac has under "$ TIME-OUT s: COMMAND
/// LINE"; counts.
class RecordedCommands final : public CommandRunner {
 public:
  RecordedCommands(const std::string& name, const asio::any_io_executor& executor)
      : changed(executor) {
    std::ifstream file(std::string(ORVIK_FIXTURES) + "/mac/" + name);
    std::string command;
    for (std::string line; std::getline(file, line);) {
      if (line.starts_with("$ ")) {
        command = line.substr(2);
      } else {
        outputs[command] += line + "\n";
      }
    }
  }
  asio::awaitable<std::string> run(std::string path, std::vector<std::string> arguments,
                                   Seconds timeout) override {
    std::string command = std::to_string(std::lround(timeout.count())) + " s: " + path;
    for (const std::string& argument : arguments) {
      command += " " + argument;
    }
    taken.insert(command);
    const std::shared_ptr<void> count(&++waiting, [](int* waits) { --*waits; });
    const std::function<bool()> isFree = [&] { return path != held; };
    co_await changed.until(isFree);
    co_return isMute ? std::string() : outputs.at(command);
  }
  void letGo() {
    held.clear();
    changed.notify();
  }

  std::map<std::string, std::string> outputs;
  std::multiset<std::string> taken;
  /// Every command fails.
  bool isMute = false;
  /// The tool that hangs, and how many commands have not ended.
  std::string held;
  int waiting = 0;

 private:
  Notifier changed;
};

/// Prints the recorded line once a second.
class PrintingTool final : public LineProcess {
 public:
  PrintingTool(std::string line, std::shared_ptr<Clock> clock)
      : line(std::move(line)), clock(std::move(clock)) {}
  asio::awaitable<std::optional<std::string>> nextLine() override {
    co_await clock->sleepFor(hasPrinted ? std::chrono::seconds(1) : std::chrono::seconds(0));
    hasPrinted = true;
    co_return isEnded ? std::nullopt : std::optional(line);
  }
  void terminate() override { isEnded = true; }

 private:
  const std::string line;
  const std::shared_ptr<Clock> clock;
  bool hasPrinted = false;
  bool isEnded = false;
};

/// What only a Mac tells.
class RecordedSystem final : public MacSystem {
 public:
  std::int64_t bootEpoch() override { return 1'800'000'000 - 143 * 3600 - 2520; }
  asio::awaitable<std::optional<Capacity>> dataVolume() override { co_return volume; }
  std::optional<std::string> sysctlString(const std::string& name) override {
    return find(texts, name);
  }
  std::optional<std::int64_t> sysctlInt(const std::string& name) override {
    return find(numbers, name);
  }
  std::optional<std::string> productName() override { return std::string("MacBook Air\0\0", 13); }
  std::optional<Version> version() override { return Version{14, 2, 1}; }
  std::optional<std::string> iconPNG() override { return "PNG"; }

  std::optional<Capacity> volume = Capacity{500'000'000'000, 100'000'000'000, 90'000'000'000};
  std::map<std::string, std::string> texts = {{"hw.model", "Mac14,2"},
                                              {"machdep.cpu.brand_string", "Chip"},
                                              {"hw.perflevel0.name", "Performance"},
                                              {"hw.perflevel1.name", "Efficiency"}};
  std::map<std::string, std::int64_t> numbers = {{"hw.nperflevels", 2},
                                                 {"hw.perflevel0.physicalcpu", 4},
                                                 {"hw.perflevel1.physicalcpu", 4},
                                                 {"hw.memsize", 17179869184}};

 private:
  template <typename Value>
  static std::optional<Value> find(const std::map<std::string, Value>& values,
                                   const std::string& name) {
    const auto found = values.find(name);
    return found == values.end() ? std::nullopt : std::optional(found->second);
  }
};

}  // namespace orvik::test
