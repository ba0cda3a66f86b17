#pragma once

#include <boost/asio/awaitable.hpp>

#include <chrono>
#include <string>
#include <vector>

namespace orvik {

namespace asio = boost::asio;

/// Runs the machine's command-line tools. Every reading that comes from a tool goes through here,
/// so that tests can answer with recorded output.
class CommandRunner {
 public:
  /// Seconds; tools are given fractions of them.
  using Seconds = std::chrono::duration<double>;

  virtual ~CommandRunner() = default;

  /// Runs the executable at `path` and gives what it wrote to its standard output, as valid UTF-8.
  /// Empty when it cannot be started or has not ended within `timeout`, when whatever it wrote is
  /// discarded. Never throws but for cancellation. Resumes on the caller's executor.
  virtual asio::awaitable<std::string> run(std::string path, std::vector<std::string> arguments,
                                           Seconds timeout) = 0;
};

}  // namespace orvik
