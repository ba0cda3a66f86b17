#pragma once

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/awaitable.hpp>

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/async/Clock.h"
#include "core/sampling/mac/CommandRunner.h"
#include "core/sampling/mac/LineProcess.h"

namespace orvik {

/// Reads the macmon tool, which prints one JSON object each second: temperatures, power, use,
/// memory and frequencies. The tool runs only while somebody asks for `latest`, and for a minute
/// after. It has a strand of its own; what is public may be called from any thread, and the awaited
/// operations resume on the caller's executor.
class MacmonReader {
 public:
  /// What the reader runs on, and what it starts the tool with.
  struct Dependencies {
    asio::any_io_executor executor;
    std::shared_ptr<Clock> clock;
    /// For single readings.
    std::shared_ptr<CommandRunner> runner;
    LineProcessLauncher launch = launchLineProcess;
  };
  using Path = std::filesystem::path;

  /// Where the tool may be, best first: in the application's bundle, when there is one, and where
  /// Homebrew puts it.
  [[nodiscard]] static std::vector<Path> usualPlaces(const std::optional<Path>& bundleResources);

  /// Starts nothing.
  MacmonReader(std::vector<Path> places, Dependencies dependencies);
  MacmonReader(const MacmonReader&) = delete;
  MacmonReader& operator=(const MacmonReader&) = delete;
  /// Ends the tool. Operations that are still awaited come to their end.
  ~MacmonReader();

  /// The first of the places that holds an executable file.
  [[nodiscard]] std::optional<Path> locate() const;

  /// The latest line, a JSON object, when it is at most 5 s old. Has the tool run, and
  /// waits up to 3 s from its start for the first one.
  asio::awaitable<std::optional<std::string>> latest();

  /// The latest line when it is at most 5 s old, otherwise the reading of a single run of the tool,
  /// a JSON object. Does not keep the tool running. Nothing when the tool is missing or
  /// fails.
  asio::awaitable<std::optional<std::string>> reading();

 private:
  class State;
  const std::shared_ptr<State> state;
};

}  // namespace orvik
