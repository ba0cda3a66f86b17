#pragma once

#include <boost/asio/thread_pool.hpp>

#include <cstddef>
#include <string>
#include <vector>

#include "core/sampling/mac/CommandRunner.h"

namespace orvik {

/// Runs the machine's own command-line tools, a few at a time; more of them queue.
///
/// A command's standard output is read to its end, which comes when the command and whatever it
/// started have closed it; then the command's exit is waited for. One that has not come that far
/// in time, or that writes more than `maximumOutput`, is ended with its process group: asked to
/// end, and killed as soon as the command itself has ended, half a second later at the latest. Its
/// text is then empty. What has left the group goes on, and nobody waits for it. How programs are
/// started, and with which environment, says ChildProcess.
class Shell final : public CommandRunner {
 public:
  /// Above what any tool prints: a USB dump of a crowded desk is 5 MB.
  static constexpr std::size_t maximumOutput = std::size_t{64} << 20;

  /// As many as there are groups of readings: none of them waits for another one's tool.
  static constexpr int mostAtOnce = 10;

  Shell();
  Shell(const Shell&) = delete;
  Shell& operator=(const Shell&) = delete;
  /// Nobody may be waiting for a command any more.
  ~Shell() override;

  /// As CommandRunner has it. The time counts from the start of the command, not from the call.
  /// Cancelling resumes the caller at once, with operation_aborted; the command is ended, or never
  /// started. The caller's executor runs one handler at a time, as a strand does.
  asio::awaitable<std::string> run(std::string path, std::vector<std::string> arguments,
                                   Seconds timeout) override;

  /// The same on the calling thread.
  [[nodiscard]] static std::string runBlocking(const std::string& path,
                                               const std::vector<std::string>& arguments,
                                               Seconds timeout);

 private:
  asio::thread_pool pool;
};

}  // namespace orvik
