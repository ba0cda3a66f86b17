#pragma once

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/awaitable.hpp>

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace orvik {

namespace asio = boost::asio;

/// A program that goes on running and prints a line now and then. Destroying it kills the program
/// and what that has started. Used on one executor.
class LineProcess {
 public:
  virtual ~LineProcess() = default;

  /// The next line of its output, without the line feed; nothing once the output has ended. The
  /// bytes are whatever the program wrote. Cancellable, which may lose a part of a line.
  virtual asio::awaitable<std::optional<std::string>> nextLine() = 0;
  /// Asks the program to end. What it has written can still be read.
  virtual void terminate() = 0;
};

/// Starts a program whose lines are read on the executor; null when it cannot be started.
using LineProcessLauncher = std::function<std::unique_ptr<LineProcess>(
    const asio::any_io_executor& executor, const std::string& path,
    const std::vector<std::string>& arguments)>;

/// Longer lines are left out: no tool has anything to say in one that is so long.
inline constexpr std::size_t longestLine = std::size_t{1} << 20;

/// The LineProcessLauncher that starts a real program, as ChildProcess does.
[[nodiscard]] std::unique_ptr<LineProcess> launchLineProcess(
    const asio::any_io_executor& executor, const std::string& path,
    const std::vector<std::string>& arguments);

}  // namespace orvik
